// Checks a record and the request that carried it against the format in docs/record-format.md.
// Stateless; every function may be called from any thread.
#pragma once

#include <jansson.h>

#include <map>
#include <string>
#include <string_view>

#include "gateway/value_checks.h"

namespace Gateway {

// Header names in lower case.
using Headers = std::map<std::string, std::string, std::less<>>;

// The value of a header; empty if it is missing.
std::string_view HeaderValue(const Headers& headers, std::string_view lowerCaseName);

// Checks the content encoding (gzip, or none, which "identity" also means), the content type and
// the library's version.
void CheckRequestHeaders(const Headers& headers, Problems& problems);

// Checks which keys the record has, their order, and each value, down to the single events.
void CheckRecord(const json_t* record, Problems& problems);

}  // namespace Gateway
