// Counts events per minute and per hour, so that a host that runs wild can be stopped.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Tav {

// Arithmetic on whole seconds; reads no clock. Used by the session thread only.
class EventRate {
 public:
  // Moves the counters on to the minute of `now` (seconds since 1970).
  void Roll(int64_t now);
  // Counts one event in the current minute.
  void Count();

  int InCurrentMinute() const { return currentMinute_; }
  int InLastHour() const { return lastHour_; }

 private:
  static constexpr int kMinutes = 60;

  std::array<int, kMinutes> slots_{};
  int index_ = 0;
  int currentMinute_ = 0;
  int lastHour_ = 0;
};

}  // namespace Tav
