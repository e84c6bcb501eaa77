// What a test asks of the local gateway that its environment names.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

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

// Uses up the faults that are left and keeps the records.
void EndFaults();

// One number of the gateway's summary.
int64_t GatewayCount(const char* name);

// A URL that nobody serves: connections are refused.
inline constexpr char kNobody[] = "http://127.0.0.1:1/";

// How often each event has arrived, by its name, for tests whose events have names of their own.
class Arrivals {
 public:
  // Takes in what has arrived since the last call. Not across ResetGateway.
  void Collect();

  int Times(const std::string& name) const;
  const std::map<std::string, int>& All() const { return times_; }
  // A test failure for each of the names that has not arrived exactly once.
  void ExpectOnce(const std::vector<std::string>& names) const;

 private:
  int64_t listed_ = 0;
  std::map<std::string, int> times_;
};

}  // namespace Tav::Testing
