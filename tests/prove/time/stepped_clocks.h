// The clocks of this process, for tests that step through years.
#pragma once

#include <cstdint>

namespace Tav::Testing {

// While an object exists, the clocks show what it says; the time of other clocks is real. One
// object at a time.
class SteppedClocks {
 public:
  // Seconds; the wall clock since 1970.
  SteppedClocks(int64_t monotonic, int64_t wall);
  ~SteppedClocks();
  SteppedClocks(const SteppedClocks&) = delete;
  SteppedClocks& operator=(const SteppedClocks&) = delete;

  static int64_t Monotonic();
  static int64_t Wall();
  // Both go on.
  static void Step(int64_t seconds);
  // Somebody sets the wall clock.
  static void SetWall(int64_t seconds);
};

}  // namespace Tav::Testing
