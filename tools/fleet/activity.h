// What the user of one client does on one day: from when to when the host runs, and when it reports
// events. Events are counted, not listed: their number is a function of time, so a client can sleep
// over many of them. All times are whole seconds since the first midnight of the simulation.
#pragma once

#include <cstdint>

namespace Fleet {

constexpr int64_t kDay = 86400;
constexpr int64_t kNever = INT64_MAX;

// The habits of all users.
struct Workday {
  int64_t waveBegin = 8 * 3600;  // of the day; hosts start from then on
  int64_t waveLength = 3600;     // 0: all hosts start in the same second
  bool even = false;             // the starts are spread evenly; else most are in the middle
  int64_t length = 17 * 1800;    // how long a host runs, on average
  int64_t lengthSpread = 3600;   // at most so much longer or shorter
  int64_t eventsPerHour = 240;   // while the user is busy; the mean over the users
  int64_t cycle = 1200;          // a busy spell and the idle one after it
  int64_t busy = 720;            // the busy spell
};

// The rates of the users follow an exponential distribution, cut off at ten times the mean: many
// report little, a few report a lot. Each user's cycle has a phase of its own.
class Activity {
 public:
  Activity() = default;
  Activity(const Workday& workday, uint64_t seed, uint32_t client, int64_t day);

  int64_t Start() const { return start_; }
  int64_t Stop() const { return stop_; }

  // How many events the host has reported from its start to the end of the given second. The start
  // and the stop are an event each.
  int64_t EventsUntil(int64_t time, const Workday& workday) const;
  // The first second at whose end there are so many; kNever if the host stops before.
  int64_t WhenReached(int64_t count, const Workday& workday) const;

 private:
  // Fractions of an event are counted in units of 2^-kShift.
  static constexpr int kShift = 20;

  int64_t BusyUntil(int64_t time, const Workday& workday) const;

  int64_t start_ = 0;
  int64_t stop_ = 0;
  int64_t rate_ = 0;        // 2^-kShift events a second
  int32_t fraction_ = 0;    // of the next event, at the start
  int32_t cyclePhase_ = 0;  // seconds
};

}  // namespace Fleet
