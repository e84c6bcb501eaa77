// Checks a record and the request that carried it against the format in docs/record-format.md.
// Stateless; every function may be called from any thread.
#pragma once

#include <jansson.h>

#include <map>
#include <string>
#include <string_view>

#include "gateway/problems.h"

namespace Gateway {

// Header names in lower case.
using Headers = std::map<std::string, std::string, std::less<>>;

// The value of a header, empty when it is missing.
std::string_view HeaderValue(const Headers& headers, std::string_view lowerCaseName);

// Content-Encoding gzip with its companions, or no encoding at all ("identity"); the content type;
// the library's version.
void CheckRequestHeaders(const Headers& headers, Problems& problems);

// The record's keys: which are there, their order, their types and their values, down to each
// event. `record` is borrowed.
void CheckRecord(const json_t* record, Problems& problems);

}  // namespace Gateway
