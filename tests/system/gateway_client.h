// Requests to the local gateway at TAV_TEST_GATEWAY, and checks of what has arrived there.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "util/json.h"

namespace Tav::Testing {

using Lines = std::vector<std::string>;

// The gateway's URL, with a slash at its end.
std::string GatewayUrl();

// A URL that refuses connections.
inline constexpr char kNoServer[] = "http://127.0.0.1:1/";

// The JSON answer to a GET of `path`, such as "api/events?name=open". On failure the test fails and
// the result is null.
JsonPtr GatewayGet(const std::string& path);

// Posts a text to `path`; the test fails unless the answer is 200.
void GatewayPost(const std::string& path, const std::string& body);

// Deletes all records and faults.
void ResetGateway();

// Uses up the remaining faults and keeps the records.
void EndFaults();

// One number of the gateway's summary.
int64_t GatewayCount(const char* name);

// Polls until the condition holds; false after a minute.
bool Eventually(const std::function<bool()>& condition);

// How often each event has arrived, by name. For tests whose events have unique names.
class Arrivals {
 public:
  // Adds what has arrived since the last call. Do not reset the gateway in between.
  void Collect();

  int Times(const std::string& name) const;
  const std::map<std::string, int>& All() const { return times_; }
  // Fails the test for each of the names that has not arrived exactly once.
  void ExpectOnce(const Lines& names) const;

 private:
  int64_t listed_ = 0;
  std::map<std::string, int> times_;
};

// Expects that no bad and no doubled record has arrived.
void ExpectNoBadRecords();

// Expects that each of these events has arrived exactly once and no other event has, in good
// records. (Records without events may be equal: hosts that start in the same millisecond send the
// same product values.)
void ExpectArrived(const Lines& names);

}  // namespace Tav::Testing
