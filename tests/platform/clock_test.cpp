#include "platform/clock.h"

#include <gtest/gtest.h>

#include <chrono>

namespace Tav::Platform {
namespace {

int64_t StandardLibraryMilliseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

// One clock in two units; both may differ from the standard library's by one step of the clock.
TEST(ClockTest, CountsFromBothEpochs) {
  constexpr int64_t kStep = 20;
  const int64_t before = StandardLibraryMilliseconds();
  const int64_t milliseconds = UnixMilliseconds();
  const auto fromFileTime = static_cast<int64_t>(FileTimeUnits() / 10000) - 11644473600000;
  const int64_t after = StandardLibraryMilliseconds();
  EXPECT_GE(milliseconds, before - kStep);
  EXPECT_LE(milliseconds, after + kStep);
  EXPECT_GE(fromFileTime, milliseconds);
  EXPECT_LE(fromFileTime, after + kStep);
}

TEST(ClockTest, MonotonicClockAdvancesAndNeverGoesBack) {
  const int64_t start = MonotonicMilliseconds();
  int64_t last = start;
  for (int64_t turn = 0; last - start < 40; ++turn) {
    ASSERT_LT(turn, int64_t{4000000000});
    const int64_t now = MonotonicMilliseconds();
    ASSERT_GE(now, last);
    last = now;
  }
}

TEST(ClockTest, BiasIsThatOfATimeZone) {
  const std::optional<int> bias = QueryUtcBiasMinutes();
  ASSERT_TRUE(bias.has_value());
  EXPECT_GE(*bias, -14 * 60);
  EXPECT_LE(*bias, 12 * 60);
  EXPECT_EQ(*bias % 15, 0);
}

}  // namespace
}  // namespace Tav::Platform
