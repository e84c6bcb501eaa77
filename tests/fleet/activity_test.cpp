#include "fleet/activity.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace Fleet {
namespace {

TEST(FleetActivityTest, TheNumberOfEventsAndTheirTimesAgreeInEverySecond) {
  Workday workday;
  workday.length = 3000;
  workday.lengthSpread = 500;
  int64_t idle = 0;
  int64_t bursts = 0;
  for (uint32_t client = 0; client < 60; ++client) {
    workday.eventsPerHour = client % 3 == 0 ? 20000 : 100;
    const Activity day(workday, 7, client, 1);
    ASSERT_GE(day.Start(), kDay + workday.waveBegin);
    ASSERT_LT(day.Start(), kDay + workday.waveBegin + workday.waveLength);
    EXPECT_EQ(day.EventsUntil(day.Start() - 1, workday), 0);
    int64_t before = 0;
    for (int64_t time = day.Start(); time <= day.Stop() + 1; ++time) {
      const int64_t count = day.EventsUntil(time, workday);
      for (int64_t event = before + 1; event <= count; ++event) {
        ASSERT_EQ(day.WhenReached(event, workday), time) << client << ": " << event;
      }
      idle += count == before ? 1 : 0;
      bursts += count > before + 1 ? 1 : 0;
      before = count;
    }
    EXPECT_EQ(day.WhenReached(before + 1, workday), kNever);
  }
  EXPECT_GT(idle, 0);
  EXPECT_GT(bursts, 0);
}

TEST(FleetActivityTest, TheMeanOfAllUsersIsTheRateThatWasAskedFor) {
  const Workday workday;
  int64_t events = 0;
  int64_t seconds = 0;
  for (uint32_t client = 0; client < 20000; ++client) {
    const Activity day(workday, 1, client, 0);
    events += day.EventsUntil(day.Stop(), workday) - 2;
    seconds += day.Stop() - day.Start();
  }
  const double hours = static_cast<double>(seconds) / 3600 * 0.6;  // busy ones
  EXPECT_NEAR(static_cast<double>(events) / hours, 240, 5);
}

}  // namespace
}  // namespace Fleet
