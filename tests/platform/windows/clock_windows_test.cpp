#include <gtest/gtest.h>
#include <windows.h>

#include "platform/clock.h"

namespace Tav::Platform {
namespace {

int64_t Minutes(const SYSTEMTIME& time) {
  FILETIME units;
  SystemTimeToFileTime(&time, &units);
  return static_cast<int64_t>((uint64_t{units.dwHighDateTime} << 32 | units.dwLowDateTime) /
                              600000000);
}

// In any zone, with or without daylight saving.
TEST(ClockTest, BiasLeadsFromUtcToTheSystemsLocalTime) {
  SYSTEMTIME utc;
  SYSTEMTIME local;
  SYSTEMTIME utcAgain;
  do {
    GetSystemTime(&utc);
    GetLocalTime(&local);
    GetSystemTime(&utcAgain);
  } while (utc.wMinute != utcAgain.wMinute);
  EXPECT_EQ(QueryUtcBiasMinutes(), Minutes(utc) - Minutes(local));
}

}  // namespace
}  // namespace Tav::Platform
