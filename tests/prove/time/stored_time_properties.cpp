// Times that outlive the process: days in the storage file and the ages of cache files, with a wall
// clock that is set to other years between the runs.
#include <chrono>
#include <filesystem>
#include <map>
#include <optional>

#include "cache/cache_file_name.h"
#include "cache/cache_manager.h"
#include "prove/time/seeds.h"
#include "session/day_stamps.h"
#include "support/captured_log.h"
#include "support/random.h"
#include "support/storage_folder.h"

#include <gtest/gtest.h>

namespace Tav::Testing {
namespace {

constexpr int64_t kSecondsOfDay = 86400;
constexpr int64_t kYear2026 = 20454;  // days

// The wall clock's day at the starts of successive runs: mostly the same or the next one.
int64_t NextDay(Random& random, int64_t day) {
  switch (random.Below(8)) {
    case 0:
      return std::max<int64_t>(kYear2026 + random.Below(8000) - 4000, 1);
    case 1:
      return day + random.Below(30);
    case 2:
    case 3:
    case 4:
      return day + 1;
    default:
      return day;
  }
}

TEST(StoredTimePropertiesTest, DaysAreNeverInTheFutureAndSettingsAreFetchedOnceADay) {
  const StorageFolder folder;
  for (unsigned seed = 1; seed <= 5 * SeedCount(); ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    folder.Put("TsTavData", "");
    const ProductIdentity product{"Product", "1.0", kPlatform};
    int64_t day = kYear2026;
    std::optional<int64_t> fetchedOn;
    int64_t active = 0;
    for (int run = 0; run < 60; ++run) {
      day = NextDay(random, day);
      const int64_t now = day * kSecondsOfDay + random.Below(kSecondsOfDay);
      DayStamps stamps(product, AlternateStorage());
      const bool mayFetch = !random.OneIn(5);
      const bool fetch = stamps.LoadTimestamp(now, mayFetch, 200);
      ASSERT_TRUE(stamps.Loaded());
      ASSERT_LE(stamps.LastActiveTime(), day);
      ASSERT_LE(stamps.LastServerAccessTime(), day);
      ASSERT_EQ(stamps.LastActiveTime(), std::min(active, day));
      ASSERT_TRUE(!fetch || mayFetch);
      if (mayFetch) {
        ASSERT_FALSE(fetch && fetchedOn == day) << "twice on one day";
        // A clock that was wrong must not keep the settings from being fetched for years.
        ASSERT_TRUE(fetch || (fetchedOn && *fetchedOn >= day)) << "a new day";
        fetchedOn = day;
      }
      active = std::min(active, day);
      if (random.OneIn(2)) {
        stamps.PersistLastActiveTime(now);
        active = day;
      }
      if (random.OneIn(2)) {
        stamps.PersistLastServerAccessTime(now);
      }
      stamps.StoreUnsaved(200);
    }
  }
}

int64_t cacheNow = 0;

// Files are deleted only if nobody has written to them for 30 days, by a clock that can be right.
// A file whose time cannot be right stays, and is 30 days old 30 days later.
TEST(StoredTimePropertiesTest, CacheFilesLiveForThirtyDaysOfAPlausibleClock) {
  const StorageFolder folder;
  const std::filesystem::path path = folder.Path("");
  const std::string prefix = CachePrefix("p", "v", Deployment());
  const auto fileOf = [&](int sequence) { return path / CacheFileName(prefix, sequence); };
  const auto setTime = [](const std::filesystem::path& file, int64_t seconds) {
    const std::chrono::sys_seconds point{std::chrono::seconds(seconds)};
    std::filesystem::last_write_time(file, std::chrono::file_clock::from_sys(point));
  };
  constexpr int64_t kNow = kYear2026 * kSecondsOfDay;
  for (unsigned seed = 1; seed <= 10 * SeedCount(); ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    cacheNow = kNow + (random.OneIn(3) ? (random.Below(9000) - 6000) * kSecondsOfDay : 0);
    std::map<int, int64_t> ages;  // days
    for (int sequence = 1; sequence <= 20; ++sequence) {
      const int64_t age = random.OneIn(2) ? random.Below(60) : random.Below(9000) - 4500;
      folder.Put(CacheFileName(prefix, sequence).c_str(), "{}");
      setTime(fileOf(sequence), cacheNow - age * kSecondsOfDay);
      ages[sequence] = age;
    }
    for (int scan = 0; scan < 2; ++scan) {
      CacheManager cache(StorageFolder::Utf8(path), prefix, [] { return cacheNow; });
      cache.ScanFiles(true);
      for (const auto& [sequence, age] : ages) {
        const bool tooOld =
            age >= 30 && age < 3650 && cacheNow - age * kSecondsOfDay >= 946'684'800;
        ASSERT_EQ(std::filesystem::exists(fileOf(sequence)), !tooOld) << age;
      }
      ASSERT_TRUE(cache.OldestTime() == 0 || cache.OldestTime() > cacheNow - 30 * kSecondsOfDay);
      ASSERT_LE(cache.OldestTime(), cacheNow + kSecondsOfDay);
    }
    // Those that were kept get old as any other.
    cacheNow += 31 * kSecondsOfDay;
    CacheManager later(StorageFolder::Utf8(path), prefix, [] { return cacheNow; });
    later.ScanFiles(false);
    ASSERT_EQ(later.FileCount(), 0U);
  }
}

}  // namespace
}  // namespace Tav::Testing
