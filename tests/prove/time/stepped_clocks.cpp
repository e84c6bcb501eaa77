#include "prove/time/stepped_clocks.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace Tav::Testing {
namespace {

constinit std::atomic<bool> clocksAreStepped{false};
constinit std::atomic<int64_t> steppedMonotonic{0};
constinit std::atomic<int64_t> steppedWall{0};

}  // namespace

SteppedClocks::SteppedClocks(int64_t monotonic, int64_t wall) {
  steppedMonotonic = monotonic;
  steppedWall = wall;
  clocksAreStepped = true;
}

SteppedClocks::~SteppedClocks() {
  clocksAreStepped = false;
}

int64_t SteppedClocks::Monotonic() {
  return steppedMonotonic;
}

int64_t SteppedClocks::Wall() {
  return steppedWall;
}

void SteppedClocks::Step(int64_t seconds) {
  steppedMonotonic += seconds;
  steppedWall += seconds;
}

void SteppedClocks::SetWall(int64_t seconds) {
  steppedWall = seconds;
}

}  // namespace Tav::Testing

// In place of the C library's, for this program.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  using namespace Tav::Testing;
  const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  if (result == 0 && clocksAreStepped) {
    if (clock == CLOCK_MONOTONIC) {
      *time = {steppedMonotonic, 0};
    } else if (clock == CLOCK_REALTIME) {
      *time = {steppedWall, 0};
    }
  }
  return result;
}
