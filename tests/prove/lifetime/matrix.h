// The states and the ends of the lifetime campaign.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "gateway/fault_plan.h"

namespace Prove {

// A state that the host (tests/prove/host/states.cpp) brings the library into.
struct State {
  std::string name;
  Gateway::Fault fault = {.count = 0};  // of the gateway; none if the count is 0
  std::chrono::milliseconds terminateTime = std::chrono::seconds(10);  // at most
  bool staysUnsent = false;       // the gateway stores nothing before the later run
  bool silentSettings = false;    // the settings server never answers
  bool describesMachine = false;  // the machine has not been described for long
  bool cacheIsFull = false;       // with the records of an earlier run
  bool onlyWindows = false;
};

struct End {
  std::string name;   // see tests/prove/host/ends.cpp
  int windowsStatus;  // exit code; -1: Windows has no such end
  int nativeStatus;   // the same natively
  int terminations;   // 0: the process ends while the library runs
};

const std::vector<State>& States();
const std::vector<End>& Ends();

// Whether the short form has the cell. It has each state and each end at least once, without the
// cells that wait for long.
bool IsShortCell(const State& state, const End& end);

}  // namespace Prove
