#include "session/intake.h"

#include "config/config_manager.h"
#include "util/logger.h"

namespace Tav {

void EventRate::Roll(int64_t now) {
  const int index = static_cast<int>((now / 60) % kMinutes);
  if (index == index_) {
    return;
  }
  slots_[static_cast<std::size_t>(index_)] = currentMinute_;
  while (index_ != index) {
    index_ = (index_ + 1) % kMinutes;
    int& slot = slots_[static_cast<std::size_t>(index_)];
    lastHour_ -= slot;
    slot = 0;
  }
  currentMinute_ = 0;
}

void EventRate::Count() {
  ++currentMinute_;
  ++lastHour_;
}

bool Intake::Accepts(std::string_view event) const {
  TAV_TRACE("SM: ev: %.*s. disabled: %d", static_cast<int>(event.size()), event.data(), disabled_);
  return !RejectsAll() && !settings_.IsInhibited(event);
}

void Intake::Count() {
  rate_.Count();
  if (limits_.perMinute >= 1 && rate_.InCurrentMinute() >= limits_.perMinute) {
    disabled_ = true;
    LogWarning("SM: Too many events (%d) generated in one minute. Disabling Analytics",
               rate_.InCurrentMinute());
  } else if (limits_.perHour >= 1 && rate_.InLastHour() >= limits_.perHour) {
    disabled_ = true;
    LogWarning("SM: Too many events (%d) generated in one hour. Disabling Analytics",
               rate_.InLastHour());
  }
}

}  // namespace Tav
