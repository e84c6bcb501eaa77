#include <gtest/gtest.h>
#include <time.h>

#include "platform/clock.h"
#include "platform/set_environment.h"

namespace Tav::Platform {
namespace {

std::optional<int> BiasIn(const char* zone) {
  Testing::SetEnvironment("TZ", zone);
  tzset();
  return QueryUtcBiasMinutes();
}

TEST(ClockTest, BiasFollowsTheTimeZone) {
  EXPECT_EQ(BiasIn("UTC0"), 0);
  EXPECT_EQ(BiasIn("AAA-1"), -60);
  EXPECT_EQ(BiasIn("AAA-5:45"), -345);
  EXPECT_EQ(BiasIn("AAA3:30"), 210);
  // Daylight saving all year.
  EXPECT_EQ(BiasIn("AAA-1BBB,0/0,J365/25"), -120);
  BiasIn(nullptr);
}

}  // namespace
}  // namespace Tav::Platform
