// A one-shot timer on the monotonic clock, in whole seconds.
#pragma once

#include <algorithm>
#include <cstdint>

#include "util/now.h"

namespace Tav {

// Its owner passes the time and polls it: no clock is read and nobody is called. One thread at a
// time.
class PollTimer {
 public:
  // A negative number of seconds expires at once.
  void Arm(const Now& now, int64_t seconds) {
    time_ = now.monotonic + std::max<int64_t>(seconds, 0);
  }
  // Does nothing if it is armed.
  void ArmOnce(const Now& now, int64_t seconds) {
    if (!Armed()) {
      Arm(now, seconds);
    }
  }
  void Disarm() { time_ = MonotonicTime(); }
  bool Armed() const { return time_ != MonotonicTime(); }
  bool HasExpired(const Now& now) const { return Armed() && time_ <= now.monotonic; }
  // When it expires; the default value if it is not armed.
  MonotonicTime Time() const { return time_; }

 private:
  MonotonicTime time_;
};

}  // namespace Tav
