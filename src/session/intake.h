// Decides which events are accepted. Rejects all events after an opt-out, when reporting is
// disabled or when a rate limit was reached, and single events that the server inhibits.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

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

// Counts events per minute and per hour. Arithmetic on whole seconds since 1970; reads no clock.
class EventRate {
 public:
  // Advances the counters to the minute of `now`.
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

// Session thread only.
class Intake {
 public:
  // Borrows the settings for their inhibit list.
  Intake(Consent consent, const ConfigManager& settings) : consent_(consent), settings_(settings) {}

  void SetLimits(RateLimits limits) { limits_ = limits; }
  // Until the end of the run, nothing is accepted, built or sent.
  void Disable() { disabled_ = true; }
  bool Disabled() const { return disabled_; }

  // Call in each turn of the session thread, with the current time.
  void Roll(int64_t now) { rate_.Roll(now); }

  bool Accepts(std::string_view event) const;
  // Whether every event is rejected, whatever its name.
  bool RejectsAll() const { return disabled_ || !consent_.AllowsReports(); }
  // Counts an accepted event. If it reaches a limit, disables the intake with a warning; the event
  // itself is kept.
  void Count();

 private:
  const Consent consent_;
  const ConfigManager& settings_;
  RateLimits limits_;
  EventRate rate_;
  bool disabled_ = false;
};

}  // namespace Tav
