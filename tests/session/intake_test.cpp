#include "session/intake.h"

#include <gtest/gtest.h>

#include "config/config_manager.h"
#include "support/captured_log.h"

namespace Tav {
namespace {

TEST(EventRateTest, MinutesRollIntoTheHourAndOutOfIt) {
  EventRate rate;
  const int64_t start = 3600 * 1000;
  rate.Roll(start);
  for (int minute = 0; minute < 60; ++minute) {
    rate.Roll(start + minute * 60);
    EXPECT_EQ(rate.InCurrentMinute(), 0);
    rate.Count();
    rate.Count();
    EXPECT_EQ(rate.InLastHour(), 2 * (minute + 1));
  }
  // The minute that the new one replaces leaves the hour.
  rate.Roll(start + 60 * 60);
  EXPECT_EQ(rate.InLastHour(), 118);
  rate.Roll(start + 60 * 60 + 59 * 60);
  EXPECT_EQ(rate.InLastHour(), 0);
}

TEST(IntakeTest, OptOutInhibitListAndRateLimitsRefuseEvents) {
  Testing::CapturedLog log;
  const ConfigManager settings({}, Settings{.values = {}, .inhibitList = {"secret"}});
  EXPECT_FALSE(Intake(Consent(true), settings).Accepts("plain"));

  Intake intake(Consent(false), settings);
  EXPECT_TRUE(intake.Accepts("plain"));
  EXPECT_FALSE(intake.Accepts("secret"));
  for (int i = 0; i < 1000; ++i) {
    intake.Count();
  }
  EXPECT_FALSE(intake.Disabled());  // no limit is set

  intake.SetLimits({.perMinute = 3, .perHour = 1005});
  intake.Roll(60);
  intake.Count();
  intake.Count();
  intake.Roll(120);  // a new minute
  intake.Count();
  intake.Count();
  EXPECT_FALSE(intake.Disabled());
  intake.Count();
  EXPECT_TRUE(intake.Disabled());
  EXPECT_FALSE(intake.Accepts("plain"));
  EXPECT_NE(log.Find("warning: SM: Too many events (3) generated in one minute. Disabling"), "");
}

}  // namespace
}  // namespace Tav
