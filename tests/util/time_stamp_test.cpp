#include "util/time_stamp.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "platform/clock.h"

namespace Tav {
namespace {

TEST(FormatTimeStampTest, ShowsLocalTimeAndItsOffset) {
  constexpr int64_t kMoment = 1614852672345;  // 2021-03-04T10:11:12.345Z
  EXPECT_EQ(FormatTimeStamp({kMoment, 0}), "2021-03-04T10:11:12.345Z");
  EXPECT_EQ(FormatTimeStamp({kMoment, -60}), "2021-03-04T11:11:12.345+01:00");
  EXPECT_EQ(FormatTimeStamp({kMoment, -345}), "2021-03-04T15:56:12.345+05:45");
  EXPECT_EQ(FormatTimeStamp({kMoment, 210}), "2021-03-04T06:41:12.345-03:30");
  EXPECT_EQ(FormatTimeStamp({kMoment, -14 * 60}), "2021-03-05T00:11:12.345+14:00");
  EXPECT_EQ(FormatTimeStamp({kMoment, 11 * 60}), "2021-03-03T23:11:12.345-11:00");
}

TEST(FormatTimeStampTest, StaysWellFormedAtTheEdges) {
  EXPECT_EQ(FormatTimeStamp({0, 0}), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(FormatTimeStamp({1, 60}), "1969-12-31T23:00:00.001-01:00");
  EXPECT_EQ(FormatTimeStamp({253402300799999, 0}), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(FormatTimeStamp({253402300799999, -60}), "9999-12-31T23:59:59.999+01:00");
  EXPECT_EQ(FormatTimeStamp({INT64_MAX, INT16_MIN}).size(), kTimeStampTextSize - 1);
  EXPECT_EQ(FormatTimeStamp({INT64_MIN, INT16_MAX}).size(), kTimeStampTextSize - 1);
}

// Against the standard library's calendar.
TEST(FormatTimeStampTest, KnowsEveryDayUpToTheYear9999) {
  using std::chrono::days;
  using std::chrono::sys_days;
  const sys_days end = sys_days(std::chrono::year(10000) / 1 / 1);
  for (sys_days day{}; day < end; day += days(1)) {
    const std::chrono::year_month_day date(day);
    char expected[40];
    std::snprintf(expected, sizeof expected, "%04d-%02u-%02uT23:59:59.999Z", int(date.year()),
                  unsigned(date.month()), unsigned(date.day()));
    const int64_t lastMillisecond = (day.time_since_epoch().count() + 1) * int64_t{86400000} - 1;
    char text[kTimeStampTextSize];
    ASSERT_EQ(FormatTimeStamp({lastMillisecond, 0}, text), 24u);
    ASSERT_STREQ(text, expected);
  }
}

TEST(CaptureTimeStampTest, IsTheCurrentMomentInTheLocalZone) {
  const int64_t before = Platform::UnixMilliseconds();
  const TimeStamp stamp = CaptureTimeStamp();
  const std::string text = LocalTimeStamp();
  const int64_t after = Platform::UnixMilliseconds();
  EXPECT_GE(stamp.unixMilliseconds, before);
  EXPECT_LE(stamp.unixMilliseconds, after);
  EXPECT_EQ(stamp.utcBiasMinutes, Platform::QueryUtcBiasMinutes());
  EXPECT_GE(text, FormatTimeStamp({before, stamp.utcBiasMinutes}));
  EXPECT_LE(text, FormatTimeStamp({after, stamp.utcBiasMinutes}));
}

}  // namespace
}  // namespace Tav
