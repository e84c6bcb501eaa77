#include "session/event_rate.h"

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

}  // namespace Tav
