#include "session/intake.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "config/config_manager.h"
#include "support/captured_log.h"
#include "support/random.h"

namespace Tav {
namespace {

MonotonicTime Minute(int64_t minute, int64_t second = 0) {
  return MonotonicTime(minute * 60 + second);
}

TEST(EventRateTest, MinutesSlideIntoTheHourAndOutOfIt) {
  EventRate rate;
  for (int minute = 1000; minute < 1060; ++minute) {
    rate.Count(Minute(minute));
    EXPECT_EQ(rate.InMinute(), 1);
    rate.Count(Minute(minute, 59));
    EXPECT_EQ(rate.InMinute(), 2);
    EXPECT_EQ(rate.InLastHour(), 2 * (minute - 999));
  }
  rate.Count(Minute(1060));
  EXPECT_EQ(rate.InLastHour(), 119);
  rate.Count(Minute(1060 + 58));
  EXPECT_EQ(rate.InLastHour(), 4);
  // An event that was queued late belongs to its own minute, or to no window.
  rate.Count(Minute(1060, 30));
  EXPECT_EQ(rate.InMinute(), 2);
  EXPECT_EQ(rate.InLastHour(), 5);
  rate.Count(Minute(1058));
  EXPECT_EQ(rate.InMinute(), 0);
  EXPECT_EQ(rate.InLastHour(), 5);
}

TEST(EventRateTest, APauseOfAnyLengthEmptiesTheWindow) {
  for (const int minutes : {60, 61, 120, 180, 1439, 1440, 1000000}) {
    EventRate rate;
    for (int minute = 0; minute < 60; ++minute) {
      rate.Count(Minute(500 + minute));
    }
    rate.Count(Minute(559 + minutes));
    EXPECT_EQ(rate.InMinute(), 1) << minutes;
    EXPECT_EQ(rate.InLastHour(), 1) << minutes;
  }
}

TEST(EventRateTest, TheCountsAreThoseOfTheEventsInTheWindow) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    Testing::Random random(seed);
    EventRate rate;
    std::vector<int64_t> minutes;
    int64_t second = 0;
    for (int event = 0; event < 500; ++event) {
      second += random.Below(random.OneIn(50) ? 20000 : 100);
      const int64_t minute = std::max<int64_t>(second - random.Below(5000), 0) / 60;
      rate.Count(Minute(minute));
      minutes.push_back(minute);
      const int64_t first = *std::max_element(minutes.begin(), minutes.end()) - 59;
      const auto count = [&](auto matches) {
        return std::count_if(minutes.begin(), minutes.end(), matches);
      };
      ASSERT_EQ(rate.InLastHour(), count([&](int64_t m) { return m >= first; }));
      ASSERT_EQ(rate.InMinute(),
                minute < first ? 0 : count([&](int64_t m) { return m == minute; }));
    }
  }
}

TEST(ReportClockTest, DatesEventsExactlyAndWithinTheirWaitWhenTheWallClockJumps) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    Testing::Random random(seed);
    ReportClock clock;
    MonotonicTime before = Minute(7);
    int64_t offset = 1'700'000'000;  // of the wall clock from the monotonic one
    for (int batch = 0; batch < 200; ++batch) {
      clock.OnQueueTaken({before, before.Seconds() + offset});
      const MonotonicTime taken = before + random.Below(7200);
      const MonotonicTime reported = before + random.Below(taken - before + 1);
      const int64_t stamp = reported.Seconds() + offset;
      const bool jumps = random.OneIn(3);
      if (jumps) {
        offset = random.Below(int64_t{1} << 32) - (int64_t{1} << 31);
      }
      clock.OnQueueTaken({taken, taken.Seconds() + offset});
      const MonotonicTime found = clock.MomentOf(stamp);
      ASSERT_TRUE(jumps ? found >= before && found <= taken : found == reported);
      before = taken;
    }
  }
}

TEST(IntakeTest, OptOutInhibitListAndRateLimitsRefuseEvents) {
  Testing::CapturedLog log;
  const ConfigManager settings({}, Settings{.values = {}, .inhibitList = {"secret"}});
  EXPECT_FALSE(Intake(Consent(true), settings).Accepts("plain"));

  Intake intake(Consent(false), settings);
  EXPECT_TRUE(intake.Accepts("plain"));
  EXPECT_FALSE(intake.Accepts("secret"));
  intake.OnQueueTaken({Minute(10), 600});
  for (int i = 0; i < 1000; ++i) {
    intake.Count(600);
  }
  EXPECT_FALSE(intake.Disabled());  // no limit is set

  intake.SetLimits({.perMinute = 3, .perHour = 1006});
  // The batch that ends a wait, or that was queued while a send took minutes.
  intake.OnQueueTaken({Minute(15, 10), 910});
  for (const int64_t reported : {720, 779, 780, 839, 840}) {
    intake.Count(reported);
  }
  EXPECT_FALSE(intake.Disabled());
  intake.Count(841);
  EXPECT_TRUE(intake.Disabled());
  EXPECT_FALSE(intake.Accepts("plain"));
  EXPECT_NE(log.Find("warning: SM: Too many events (1006) generated in one hour. Disabling"), "");

  Intake other(Consent(false), settings);
  other.SetLimits({.perMinute = 3, .perHour = 0});
  other.OnQueueTaken({Minute(20), 1200});
  other.OnQueueTaken({Minute(25), 1500});
  for (const int64_t reported : {1250, 1259, 1260, 1319}) {
    other.Count(reported);
  }
  EXPECT_FALSE(other.Disabled());
  other.Count(1319);
  EXPECT_TRUE(other.Disabled());
  EXPECT_NE(log.Find("warning: SM: Too many events (3) generated in one minute. Disabling"), "");
}

}  // namespace
}  // namespace Tav
