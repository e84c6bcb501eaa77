// What a test asks of the local gateway that its environment names.
#pragma once

#include <cstdint>
#include <string>

#include "util/json.h"

namespace Tav::Testing {

// The gateway's URL, with a slash at its end.
std::string GatewayUrl();

// The JSON answer to a GET of `path`, such as "api/events?name=open". Null, and a test failure,
// when there is none.
JsonPtr AskGateway(const std::string& path);

// Posts a text to `path`; a test failure when the answer is not 200.
void TellGateway(const std::string& path, const std::string& body);

// Forgets all records and faults.
void ResetGateway();

// One number of the gateway's summary.
int64_t GatewayCount(const char* name);

}  // namespace Tav::Testing
