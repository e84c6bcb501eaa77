#include "prove/lifetime/matrix.h"

#include <set>
#include <utility>

namespace Prove {
namespace {

using Gateway::Fault;
using Gateway::FaultKind;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::int64_t kAllRequests = 1'000'000'000;

Fault Unavailable() {
  return {.kind = FaultKind::Status, .status = 503, .count = kAllRequests};
}

Fault Delay(int time) {
  return {.kind = FaultKind::Delay, .delay = milliseconds(time), .count = kAllRequests};
}

Fault Hang() {
  return {.kind = FaultKind::Hang, .count = kAllRequests};
}

}  // namespace

const std::vector<State>& States() {
  static const std::vector<State> states = {
      {.name = "idle"},
      {.name = "building"},
      {.name = "sending", .fault = Delay(1500)},
      {.name = "backing-off", .fault = Unavailable(), .staysUnsent = true},
      {.name = "catching-up", .fault = Delay(200), .cacheIsFull = true},
      {.name = "silent-gateway", .fault = Hang(), .terminateTime = seconds(2), .staysUnsent = true},
      {.name = "silent-settings", .terminateTime = seconds(2), .silentSettings = true},
      {.name = "hanging-wmi", .describesMachine = true, .onlyWindows = true},
      {.name = "hanging-sink", .fault = Unavailable()},
      {.name = "locked", .staysUnsent = true},
      {.name = "queued"},
      {.name = "suspended"},
  };
  return states;
}

const std::vector<End>& Ends() {
  static const std::vector<End> ends = {
      {"terminate", 0, 0, 1},        {"terminate-twice", 0, 0, 2}, {"other-product", 0, 0, 2},
      {"unload", 0, -1, 1},          {"unload-running", 0, -1, 0}, {"exit", 42, 42, 0},
      {"exit-elsewhere", 42, 42, 0}, {"exit-at-once", -1, 45, 0},  {"kill", 9, 137, 0},
      {"static-commit", 0, 0, 0},
  };
  return ends;
}

bool IsShortCell(const State& state, const End& end) {
  static const std::set<std::pair<std::string, std::string>> cells = {
      {"idle", "exit"},
      {"building", "unload-running"},
      {"building", "exit-at-once"},
      {"sending", "unload"},
      {"backing-off", "static-commit"},
      {"catching-up", "kill"},
      {"silent-gateway", "other-product"},
      {"silent-settings", "terminate"},
      {"hanging-wmi", "unload"},
      {"hanging-sink", "exit-elsewhere"},
      {"locked", "kill"},
      {"suspended", "terminate-twice"},
  };
  return cells.contains({state.name, end.name});
}

}  // namespace Prove
