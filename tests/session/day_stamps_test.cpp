#include "session/day_stamps.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/captured_log.h"
#include "support/random.h"
#include "support/storage_folder.h"

namespace Tav {
namespace {

constexpr int64_t kDaySeconds = 86400;
constexpr int64_t kYear2026 = 1'780'000'000;
constexpr int64_t kYear2100 = 4'110'000'000;
constexpr int kNoWait = 0;

class DayStampsTest : public testing::Test {
 protected:
  // A run that is active and reaches the server. True if it requests settings.
  static bool Run(int64_t now, bool mayFetch = true) {
    DayStamps stamps = Load();
    const bool fetch = stamps.LoadTimestamp(now, mayFetch, kNoWait);
    stamps.PersistLastActiveTime(now);
    stamps.PersistLastServerAccessTime(now);
    stamps.StoreUnsaved(kNoWait);
    return fetch;
  }
  static DayStamps Load() {
    return DayStamps({"Product", "1.0", Testing::kPlatform}, AlternateStorage());
  }
  static int64_t StoredLastActive() {
    DayStamps stamps = Load();
    stamps.LoadDays(INT64_MAX);
    return stamps.LastActiveTime();
  }

  Testing::StorageFolder folder_;
  Testing::CapturedLog log_;
};

TEST_F(DayStampsTest, DaysFromTheFutureCountAsTodayAndAreStoredAgain) {
  EXPECT_TRUE(Run(kYear2100));
  {
    DayStamps stamps = Load();
    EXPECT_FALSE(stamps.LoadTimestamp(kYear2026, true, kNoWait));
    EXPECT_EQ(stamps.LastActiveTime(), kYear2026 / kDaySeconds);
    EXPECT_EQ(stamps.LastServerAccessTime(), kYear2026 / kDaySeconds);
    EXPECT_TRUE(stamps.Unsaved());
    stamps.StoreUnsaved(kNoWait);  // though this run was neither active nor online
  }
  EXPECT_EQ(StoredLastActive(), kYear2026 / kDaySeconds);
  EXPECT_TRUE(Run(kYear2026 + kDaySeconds));
  EXPECT_FALSE(Run(kYear2026 + kDaySeconds));
}

TEST_F(DayStampsTest, AnOptedOutRunLeavesTheRequestToTheNextOne) {
  EXPECT_TRUE(Run(kYear2026));
  EXPECT_FALSE(Run(kYear2026 + kDaySeconds, false));
  EXPECT_TRUE(Run(kYear2026 + kDaySeconds));
}

TEST_F(DayStampsTest, AClockThatShows1970IsNoReasonForNever) {
  EXPECT_TRUE(Run(kYear2026));
  for (const int64_t now : {int64_t{0}, int64_t{-5}, -kYear2026}) {
    EXPECT_FALSE(Run(now));
    EXPECT_EQ(StoredLastActive(), 1);
  }
  EXPECT_TRUE(Run(kYear2026));
  EXPECT_EQ(StoredLastActive(), kYear2026 / kDaySeconds);
}

TEST_F(DayStampsTest, AJumpingClockNeitherStallsNorRepeatsTheDailyRequest) {
  Testing::Random random(1);
  int64_t now = kYear2026;
  int64_t elapsed = 0;  // since the wall clock was last set forward
  int64_t requests = 0;
  Run(now);
  for (int run = 0; run < 200; ++run) {
    const int64_t pause =
        random.OneIn(4) ? random.Below(5 * kDaySeconds) : random.Below(kDaySeconds / 4);
    int64_t jump = 0;
    if (random.OneIn(5)) {
      jump = random.Below(100 * 365) * kDaySeconds - now;  // to any day of a century
    }
    elapsed += pause;
    now += pause + jump;
    if (jump > 0) {
      elapsed = 0;
      requests = 0;
    }
    const bool requested = Run(now);
    requests += requested ? 1 : 0;
    EXPECT_LE(requests, 2 + elapsed / kDaySeconds) << run;
    if (jump == 0 && pause >= kDaySeconds) {
      EXPECT_TRUE(requested) << run;
    }
    if (pause + jump < 0) {
      EXPECT_FALSE(requested) << run;
    }
    ASSERT_EQ(StoredLastActive(), std::max<int64_t>(now / kDaySeconds, 1)) << run;
  }
}

}  // namespace
}  // namespace Tav
