// The two clocks of the library. Timers and intervals use the monotonic clock. The wall clock may
// be set forwards or backwards at any moment, so it only dates what is reported or stored; a
// difference between two of its readings is an estimate that needs bounds.
#pragma once

#include <compare>
#include <cstdint>

#include "platform/clock.h"
#include "util/time_stamp.h"

namespace Tav {

// A moment on the monotonic clock, in whole seconds. Means nothing outside the process. No number
// converts to it, so that wall-clock time, which is an int64_t, cannot take its place.
class MonotonicTime {
 public:
  // Before every reading of the clock. As a timer: not armed.
  constexpr MonotonicTime() = default;
  constexpr explicit MonotonicTime(int64_t seconds) : seconds_(seconds) {}

  constexpr int64_t Seconds() const { return seconds_; }

  constexpr auto operator<=>(const MonotonicTime&) const = default;
  constexpr MonotonicTime operator+(int64_t seconds) const {
    return MonotonicTime(seconds_ + seconds);
  }
  // Seconds.
  constexpr int64_t operator-(MonotonicTime earlier) const { return seconds_ - earlier.seconds_; }

 private:
  int64_t seconds_ = 0;
};

// Both clocks, read together.
struct Now {
  MonotonicTime monotonic;  // after the default one
  int64_t unixSeconds = 0;  // since 1970, by the wall clock

  // When the wall clock shows the given moment, for log lines; 0 for a timer that is not armed.
  int64_t ToUnix(MonotonicTime timer) const {
    return timer == MonotonicTime() ? 0 : unixSeconds + (timer - monotonic);
  }
};

inline Now ReadClocks() {
  return {MonotonicTime(1 + Platform::MonotonicMilliseconds() / 1000), CurrentTime()};
}

}  // namespace Tav
