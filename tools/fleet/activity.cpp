#include "fleet/activity.h"

#include <algorithm>
#include <cmath>

#include "fleet/random.h"

namespace Fleet {

namespace {

constexpr double kMaxRateFactor = 10;

// The busy seconds among the first `seconds` of the cycles.
int64_t BusyOf(int64_t seconds, const Workday& workday) {
  return seconds / workday.cycle * workday.busy + std::min(seconds % workday.cycle, workday.busy);
}

// The sum of three even distributions looks like a bell.
int64_t DrawInWave(Draw& draw, const Workday& workday) {
  const int64_t seconds = std::max<int64_t>(workday.waveLength, 1);
  if (workday.even) {
    return draw.Below(seconds);
  }
  return (draw.Below(seconds) + draw.Below(seconds) + draw.Below(seconds)) / 3;
}

}  // namespace

Activity::Activity(const Workday& workday, uint64_t seed, uint32_t client, int64_t day) {
  Draw habits(seed, client, 0);
  const double factor = std::min(-std::log(habits.Fraction()), kMaxRateFactor);
  const int64_t mean = (workday.eventsPerHour << kShift) / 3600;
  rate_ = std::llround(factor * static_cast<double>(mean));
  cyclePhase_ = static_cast<int32_t>(habits.Below(workday.cycle));

  Draw today(seed, client, 1 + static_cast<uint64_t>(day));
  start_ = day * kDay + workday.waveBegin + DrawInWave(today, workday);
  stop_ = start_ + workday.length + today.Around(workday.lengthSpread);
  fraction_ = static_cast<int32_t>(today.Below(1 << kShift));
}

// The second of the start is not busy yet.
int64_t Activity::BusyUntil(int64_t time, const Workday& workday) const {
  return BusyOf(time - start_ + cyclePhase_, workday) - BusyOf(cyclePhase_, workday);
}

int64_t Activity::EventsUntil(int64_t time, const Workday& workday) const {
  if (time < start_) {
    return 0;
  }
  const int64_t reported =
      (BusyUntil(std::min(time, stop_), workday) * rate_ + fraction_) >> kShift;
  return 1 + reported + (time >= stop_ ? 1 : 0);
}

int64_t Activity::WhenReached(int64_t count, const Workday& workday) const {
  if (count <= 1) {
    return start_;
  }
  if (rate_ > 0) {
    const int64_t units = ((count - 1) << kShift) - fraction_;
    const int64_t busy = (units + rate_ - 1) / rate_ + BusyOf(cyclePhase_, workday);
    const int64_t spells = (busy - 1) / workday.busy;
    const int64_t time =
        start_ - cyclePhase_ + spells * workday.cycle + (busy - spells * workday.busy);
    if (time < stop_) {
      return time;
    }
  }
  return count <= EventsUntil(stop_, workday) ? stop_ : kNever;
}

}  // namespace Fleet
