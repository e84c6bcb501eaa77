#include "session/intake.h"

#include <algorithm>

#include "config/config_manager.h"
#include "util/logger.h"

namespace Tav {

void ReportClock::OnQueueTaken(const Now& now) {
  before_ = taken_.monotonic;
  taken_ = now;
}

MonotonicTime ReportClock::MomentOf(int64_t unixSeconds) const {
  const int64_t age = taken_.unixSeconds - unixSeconds;
  return std::clamp(taken_.monotonic + -age, before_, taken_.monotonic);
}

void EventRate::MoveWindow(int64_t newest) {
  for (int64_t minute = std::max(newest_, newest - kMinutes) + 1; minute <= newest; ++minute) {
    lastHour_ -= Slot(minute);
    Slot(minute) = 0;
  }
  newest_ = std::max(newest_, newest);
}

void EventRate::Count(MonotonicTime reported) {
  const int64_t minute = reported.Seconds() / 60;
  MoveWindow(minute);
  if (newest_ - minute >= kMinutes) {
    inMinute_ = 0;
    return;
  }
  inMinute_ = ++Slot(minute);
  ++lastHour_;
}

bool Intake::Accepts(std::string_view event) const {
  TAV_TRACE("SM: ev: %.*s. disabled: %d", static_cast<int>(event.size()), event.data(), disabled_);
  return !RejectsAll() && !settings_.IsInhibited(event);
}

void Intake::Count(int64_t unixSeconds) {
  rate_.Count(reportClock_.MomentOf(unixSeconds));
  if (limits_.perMinute >= 1 && rate_.InMinute() >= limits_.perMinute) {
    disabled_ = true;
    LogWarning("SM: Too many events (%d) generated in one minute. Disabling Analytics",
               rate_.InMinute());
  } else if (limits_.perHour >= 1 && rate_.InLastHour() >= limits_.perHour) {
    disabled_ = true;
    LogWarning("SM: Too many events (%d) generated in one hour. Disabling Analytics",
               rate_.InLastHour());
  }
}

}  // namespace Tav
