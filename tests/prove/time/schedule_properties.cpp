// The send schedule and the rate limits with clocks that do anything a clock can do: the monotonic
// one stands still, steps or sleeps for days; the wall clock jumps by years either way.
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <vector>

#include "config/config_manager.h"
#include "prove/time/seeds.h"
#include "session/intake.h"
#include "session/send_schedule.h"
#include "support/random.h"

namespace Tav::Testing {
namespace {

constexpr int64_t kDaySeconds = 86400;

// Two wall clocks beside one monotonic clock.
class Clocks {
 public:
  explicit Clocks(Random& random) : random_(random) {}

  Now Steady() const { return {monotonic_, kStart + monotonic_.Seconds()}; }
  Now Jumping() const { return {monotonic_, wall_}; }
  void Step(int64_t seconds) {
    monotonic_ = monotonic_ + seconds;
    wall_ += seconds;
  }
  void Sleep() { Step(random_.Below(5 * kDaySeconds)); }
  void Jump() {
    constexpr int64_t kYear = 365 * kDaySeconds;
    wall_ += (random_.Below(20) - 10) * kYear + random_.Below(kYear);
  }

 private:
  static constexpr int64_t kStart = 1'700'000'000;
  Random& random_;
  MonotonicTime monotonic_{1000};
  int64_t wall_ = kStart;
};

SendSchedule::Tuning AnyTuning(Random& random) {
  const auto any = [&](std::initializer_list<int> values) {
    return values.begin()[random.Below(static_cast<int64_t>(values.size()))];
  };
  SendSchedule::Tuning tuning;
  tuning.sendInterval = any({-1, 0, 1, 60, 300, 86400, 7 * 86400});
  tuning.flushInterval = any({0, 1, 360, 86400});
  tuning.pauseInterval = any({0, 1, 60, 86400});
  tuning.resendTime = any({0, 1, 300, 86400});
  tuning.resendDelta = any({0, 1, 900, 86400});
  tuning.sendThreshold = any({1, 1000, 1 << 20});
  return tuning;
}

// A schedule, a model of when it may send, and a second schedule with another wall clock.
class Scheduled {
 public:
  Scheduled(Random& random, Clocks& clocks) : random_(random), clocks_(clocks) {
    for (SendSchedule* const schedule : {&schedule_, &other_}) {
      schedule->Tune(tuning_);
      schedule->SetInitialWaitTime(clocks_.Steady(), 0, 0);
    }
  }

  void Act() {
    switch (random_.Below(8)) {
      case 0:
        clocks_.Step(random_.Below(400));
        break;
      case 1:
        random_.OneIn(4) ? clocks_.Sleep() : clocks_.Jump();
        break;
      case 2:
      case 3:
        Both([](SendSchedule& schedule, const Now& now) { schedule.OnFirstPending(now); });
        pending_ = true;
        break;
      case 4:
        SendIfDue();
        break;
      case 5:
        Both([](SendSchedule& schedule, const Now& now) { schedule.OnLeftInMemory(now); });
        break;
      case 6:
        FlushIfExpired();
        break;
      case 7:
        CheckThreshold();
        break;
    }
    Check();
  }

 private:
  template <typename Use>
  void Both(Use use) {
    use(schedule_, clocks_.Steady());
    use(other_, clocks_.Jumping());
  }

  void SendIfDue() {
    Both([](SendSchedule& schedule, const Now& now) { schedule.CheckTimers(now); });
    if (!schedule_.IsDue(false)) {
      return;
    }
    // Not before the wait that the last attempt began, unless the threshold was reached.
    EXPECT_TRUE(thresholdReached_ || clocks_.Steady().monotonic >= notBefore_);
    thresholdReached_ = false;
    if (random_.OneIn(2)) {
      Both([](SendSchedule& schedule, const Now& now) { schedule.OnSent(now); });
      wait_ = tuning_.sendInterval < 1 ? 300 : tuning_.sendInterval;
      failures_ = 0;
      pending_ = false;
    } else {
      const int retryAfter = random_.OneIn(4) ? static_cast<int>(random_.Below(4000)) : 0;
      Both(
          [&](SendSchedule& schedule, const Now& now) { schedule.OnSendFailure(now, retryAfter); });
      wait_ =
          std::max<int64_t>({tuning_.resendTime + tuning_.resendDelta * failures_, 1, retryAfter});
      ++failures_;
    }
    notBefore_ = clocks_.Steady().monotonic + wait_;
    Both([](SendSchedule& schedule, const Now&) { schedule.OnSendDone(); });
  }

  void FlushIfExpired() {
    Both([](SendSchedule& schedule, const Now& now) { schedule.CheckTimers(now); });
    if (schedule_.FlushExpired()) {
      const bool failed = random_.OneIn(3);
      Both([&](SendSchedule& schedule, const Now& now) {
        failed ? schedule.OnFlushFailed(now) : schedule.OnFlushed();
      });
    }
  }

  void CheckThreshold() {
    const SendSchedule::Backlog backlog{random_.Below(2000), random_.Below(2 << 20)};
    const bool reached = schedule_.CheckSendThreshold(backlog);
    EXPECT_EQ(reached, other_.CheckSendThreshold(backlog));
    EXPECT_TRUE(!reached || failures_ == 0) << "a back-off goes on";
    thresholdReached_ = thresholdReached_ || reached;
  }

  void Check() {
    const int timeout = schedule_.ComputeTimeout(clocks_.Steady());
    ASSERT_TRUE(timeout >= 0 && timeout <= kDaySeconds);
    // The wall clock decides nothing.
    ASSERT_EQ(timeout, other_.ComputeTimeout(clocks_.Jumping()));
    ASSERT_EQ(schedule_.IsDue(false), other_.IsDue(false));
    ASSERT_EQ(schedule_.FlushExpired(), other_.FlushExpired());
    if (pending_ && tuning_.sendInterval >= 0) {
      CheckNoStall();
    }
  }

  // Left alone from here on, the schedule sends after the longer of its wait and the pause.
  void CheckNoStall() const {
    SendSchedule schedule = schedule_;
    Now now = clocks_.Steady();
    const MonotonicTime bound =
        std::max(notBefore_, now.monotonic + int64_t{tuning_.pauseInterval});
    for (schedule.CheckTimers(now); !schedule.IsDue(false); schedule.CheckTimers(now)) {
      now.monotonic = now.monotonic + std::max(schedule.ComputeTimeout(now), 1);
      ASSERT_LE(now.monotonic, bound) << "a pending record is tried";
    }
  }

  Random& random_;
  Clocks& clocks_;
  const SendSchedule::Tuning tuning_ = AnyTuning(random_);
  SendSchedule schedule_;
  SendSchedule other_;
  MonotonicTime notBefore_;
  int64_t wait_ = 0;
  int failures_ = 0;
  bool pending_ = false;
  bool thresholdReached_ = false;
};

TEST(SchedulePropertiesTest, IntervalsHoldAndNothingStallsWhateverTheClocksDo) {
  for (unsigned seed = 1; seed <= 100 * SeedCount(); ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Clocks clocks(random);
    Scheduled scheduled(random, clocks);
    for (int i = 0; i < 200 && !testing::Test::HasFailure(); ++i) {
      scheduled.Act();
    }
    ASSERT_FALSE(testing::Test::HasFailure());
  }
}

// The first wait of a run, from the time stamp of the oldest file: at most the interval.
TEST(SchedulePropertiesTest, TheFirstWaitIsAtMostTheIntervalWhateverTheFilesSay) {
  for (unsigned seed = 1; seed <= 1000 * SeedCount(); ++seed) {
    Random random(seed);
    SendSchedule::Tuning tuning = AnyTuning(random);
    tuning.sendInterval = static_cast<int>(random.Below(8 * kDaySeconds));
    tuning.persistentInterval = true;
    SendSchedule schedule;
    schedule.Tune(tuning);
    constexpr int64_t kWall = 1'700'000'000;
    const Now now{MonotonicTime(5), kWall};
    const int64_t age = (random.Below(2 << 30) - (1 << 30)) / (random.OneIn(2) ? 1 : 100'000);
    schedule.SetInitialWaitTime(now, 1000, kWall - age);
    const int64_t wait = schedule.IsDue(false) ? 0 : schedule.WaitTime() - now.monotonic;
    ASSERT_TRUE(wait >= 0 && wait <= tuning.sendInterval) << seed;
    if (age >= 0) {
      ASSERT_EQ(wait, std::max<int64_t>(tuning.sendInterval - age, 0)) << "what is left of it";
    }
  }
}

// Events with the time between the two takings of the queue in which they were reported.
struct Reported {
  int64_t earliest;
  int64_t latest;
};

// Whether the limit of events could be, or must be, in the same minute of the monotonic clock.
size_t MostInAMinute(const std::vector<Reported>& events, bool certain) {
  std::map<int64_t, size_t> minutes;
  size_t most = 0;
  for (const Reported& event : events) {
    const int64_t first = event.earliest / 60;
    const int64_t last = event.latest / 60;
    for (int64_t minute = first; minute <= last && (first == last || !certain); ++minute) {
      most = std::max(most, ++minutes[minute]);
    }
  }
  return most;
}

TEST(RateLimitPropertiesTest, JumpsOfTheWallClockNeitherHideNorInventEvents) {
  constexpr size_t kLimit = 50;
  const ConfigManager settings({});
  int disabled = 0;
  for (unsigned seed = 1; seed <= 100 * SeedCount(); ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Clocks clocks(random);
    Intake intake(Consent(false), settings);
    intake.SetLimits({static_cast<int>(kLimit), 0});
    intake.OnQueueTaken(clocks.Jumping());
    std::vector<Reported> events;
    const int64_t rate = 1 + random.Below(20);
    for (int turn = 0; turn < 300 && !intake.Disabled(); ++turn) {
      const int64_t before = clocks.Steady().monotonic.Seconds();
      std::vector<int64_t> stamps;
      for (int64_t i = random.Below(rate); i > 0; --i) {
        stamps.push_back(clocks.Jumping().unixSeconds);
        clocks.Step(random.Below(2));
      }
      if (random.OneIn(10)) {
        clocks.Jump();
      } else if (random.OneIn(50)) {
        clocks.Sleep();
      }
      intake.OnQueueTaken(clocks.Jumping());
      for (size_t i = 0; i < stamps.size() && !intake.Disabled(); ++i) {
        events.push_back({before, clocks.Steady().monotonic.Seconds()});
        intake.Count(stamps[i]);
      }
    }
    disabled += intake.Disabled() ? 1 : 0;
    if (intake.Disabled()) {
      ASSERT_GE(MostInAMinute(events, false), kLimit) << "no minute can have had so many";
    } else {
      ASSERT_LT(MostInAMinute(events, true), kLimit) << "a minute had too many";
    }
  }
  EXPECT_GT(disabled, 0);
}

}  // namespace
}  // namespace Tav::Testing
