// Decides which events are accepted. Rejects all events after an opt-out, when reporting is
// disabled or when a rate limit was reached, and single events that the server inhibits.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "util/now.h"

namespace Tav {

class ConfigManager;

// What the user's choice allows, fixed for a run. An opted-out product sends only its opt-out.
class Consent {
 public:
  explicit Consent(bool optedOut) : optedOut_(optedOut) {}

  // Events, product values and records from the host.
  bool AllowsReports() const { return !optedOut_; }
  bool AllowsMachineDescription() const { return !optedOut_; }
  bool AllowsSettingsRequest() const { return !optedOut_; }
  // Records on disk. An opt-out does not need the cache: the storage files keep it until it is
  // sent.
  bool AllowsCache() const { return !optedOut_; }

 private:
  bool optedOut_;
};

// Events; 0 or less for no limit.
struct RateLimits {
  int perMinute = 0;
  int perHour = 0;
};

// Dates events on the monotonic clock. An event has only a wall-clock time stamp, because another
// reading would cost time on the host's thread and memory in each event. The wall clock tells how
// long the event waited in the queue. The wait cannot be longer than the time between the last two
// moments at which the queue was emptied, so a jump of the wall clock causes no larger error.
class ReportClock {
 public:
  // Call it when the queue is emptied. The dates that follow are for the events that were in it.
  void OnQueueTaken(const Now& now);
  // The moment of an event that was stamped with `unixSeconds`.
  MonotonicTime MomentOf(int64_t unixSeconds) const;

 private:
  MonotonicTime before_;
  Now taken_;
};

// Counts events by the minute in which they were reported, in a window of 60 minutes. The window
// ends with the newest event: a count is of interest only when there is one. Reads no clock.
class EventRate {
 public:
  // Counts an event. Does nothing with one that is older than the window.
  void Count(MonotonicTime reported);

  // In the minute of the event that was counted last.
  int InMinute() const { return inMinute_; }
  // In the whole window.
  int InLastHour() const { return lastHour_; }

 private:
  static constexpr int64_t kMinutes = 60;

  int& Slot(int64_t minute) { return slots_[static_cast<std::size_t>(minute % kMinutes)]; }
  void MoveWindow(int64_t newest);

  std::array<int, kMinutes> slots_{};
  int64_t newest_ = 0;  // minute
  int inMinute_ = 0;
  int lastHour_ = 0;  // the sum of the slots
};

// Session thread only.
class Intake {
 public:
  // Borrows the settings for their inhibit list.
  Intake(Consent consent, const ConfigManager& settings) : consent_(consent), settings_(settings) {}

  void SetLimits(RateLimits limits) { limits_ = limits; }
  // Until the end of the run, nothing is accepted, built or sent.
  void Disable() { disabled_ = true; }
  bool Disabled() const { return disabled_; }

  // Call whenever the queue was emptied, before its events are counted.
  void OnQueueTaken(const Now& now) { reportClock_.OnQueueTaken(now); }

  bool Accepts(std::string_view event) const;
  // Whether every event is rejected, whatever its name.
  bool RejectsAll() const { return disabled_ || !consent_.AllowsReports(); }
  // Counts an accepted event that was reported at `unixSeconds`. If it reaches a limit, disables
  // the intake with a warning; the event itself is kept.
  void Count(int64_t unixSeconds);

 private:
  const Consent consent_;
  const ConfigManager& settings_;
  RateLimits limits_;
  ReportClock reportClock_;
  EventRate rate_;
  bool disabled_ = false;
};

}  // namespace Tav
