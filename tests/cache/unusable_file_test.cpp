// Cache files that must not be opened, and one for whose records there is no memory.
#include <atomic>
#include <cstdint>

#include "cache/cache_fixture.h"
#include "support/replaced_new.h"
#include "util/tav_file.h"

namespace Tav::Testing {
namespace {

class UnusableFileTest : public CacheFixture {};

TEST_F(UnusableFileTest, PassesOverFilesWithSeveralNames) {
  const CapturedLog log;
  for (const int sequence : {1, 2, 4}) {
    Put(sequence, Chunk("victim"));
  }
  folder_.Put("other", "");
  std::filesystem::create_hard_link(PathOf(2), folder_.Path("name of 2"));
  std::filesystem::create_hard_link(PathOf(4), folder_.Path("name of 4"));
  CacheManager cache = Manager();
  cache.ScanFiles(true);
  EXPECT_EQ(cache.TotalSize(), 33);
  uint32_t errors = CacheManager::ErrorCount();
  Store(cache, {"new"});
  EXPECT_EQ(Contents(5), Chunk("new")) << "not into the newest one";
  EXPECT_EQ(log.Find("warning: CM:"), "warning: CM: Cannot append to cache file '" + PathText(4) +
                                          "'. It is passed over - (13) Permission denied");
  EXPECT_EQ(CacheManager::ErrorCount(), ++errors);
  EXPECT_EQ(cache.TotalSize(), 11 + 11 + 8);

  EXPECT_EQ(LoadFrom(cache), (Texts{"victim", "new"}));
  EXPECT_EQ(log.Find("warning: CM: Could"), "warning: CM: Could not open cache file '" +
                                                PathText(2) + "' to load. Cache disabled: 0");
  EXPECT_EQ(CacheManager::ErrorCount(), ++errors);
  EXPECT_EQ(cache.TotalSize(), 0) << "nothing waits that could be sent";
  EXPECT_EQ(LoadFrom(cache), Texts{});
  cache.SetLimits(2, 5);
  Store(cache, {"a", "b", "c"});
  EXPECT_EQ(CacheManager::ErrorCount(), errors) << "not tried again";
  EXPECT_EQ(Names(), (Texts{Name(2), Name(4), Name(5), "name of 2", "name of 4", "other"}))
      << "they do not fill the cache";
  EXPECT_EQ(Contents(2) + Contents(4), Chunk("victim") + Chunk("victim"));
  EXPECT_FALSE(cache.Disabled());

  std::filesystem::remove(PathOf(2));
  Put(2, Chunk("of another process"));
  EXPECT_EQ(LoadFrom(cache), Texts{"c"}) << "the number was taken again at once";
  std::filesystem::remove(PathOf(2));
  EXPECT_EQ(LoadFrom(cache), Texts{});
  Put(2, Chunk("of another process"));
  EXPECT_EQ(LoadFrom(cache), Texts{"of another process"});
}

TEST_F(UnusableFileTest, PassesOverAFileThatIsTooLargeToLoad) {
  constexpr size_t kMost = 1048576 + 0xFFFFFF + 5;
  const CapturedLog log;
  for (const int sequence : {1, 2}) {
    Put(sequence, Chunk("one"));
    std::filesystem::resize_file(PathOf(sequence), kMost + (sequence == 1 ? 1 : 0));
  }
  Put(3, Chunk("two"));
  CacheManager cache = Manager();
  EXPECT_EQ(LoadFrom(cache), (Texts{"one", "two"}));
  EXPECT_EQ(log.Find("warning: CM: Cannot load"), "warning: CM: Cannot load cache file '" +
                                                      PathText(1) +
                                                      "'. It is passed over - (27) File too large");
  EXPECT_EQ(Names(), Texts{Name(1)});
  EXPECT_EQ(cache.TotalSize(), 0);
}

// On Windows its name stays taken until the last handle is closed.
TEST_F(UnusableFileTest, AFileThatIsBeingDeletedIsNotInTheWay) {
  Put(1, Chunk("old"));
  CacheManager cache = Manager();
  cache.ScanFiles(false);
  TavFile holder;
  ASSERT_TRUE(holder.OpenAtomic(PathText(1).c_str()));
  ASSERT_TRUE(holder.Discard());
  EXPECT_EQ(LoadFrom(cache), Texts{});
  Store(cache, {"new"});
  EXPECT_FALSE(cache.Disabled());
  holder.Close();
  EXPECT_EQ(LoadFrom(cache), Texts{"new"});
  Store(cache, {"newer"});
  EXPECT_EQ(Names(), Texts{Name(1)});
}

#if TAV_REPLACES_NEW
// The size from which allocations fail.
std::atomic<size_t> failingAllocation{SIZE_MAX};

TEST_F(UnusableFileTest, AFileWhoseLoadRunsOutOfMemoryStays) {
  const std::string large(200000, 'x');
  const std::string contents = Chunk("small") + Chunk(large);
  Put(1, contents);
  CacheManager cache = Manager();
  RecordList records = RecordsOf({"first"});
  onAllocation = [](size_t size) {
    if (size >= failingAllocation) {
      throw std::bad_alloc();
    }
  };
  for (const bool oldestOnly : {false, true}) {
    failingAllocation = 65536;
    EXPECT_THROW(oldestOnly ? (void)cache.Lease(records) : cache.Load(records), std::bad_alloc);
    EXPECT_FALSE(cache.HasLease());
    failingAllocation = SIZE_MAX;
    EXPECT_EQ(TextsOf(records), Texts{"first"});
    EXPECT_EQ(Contents(1), contents);
  }
  onAllocation = nullptr;
  EXPECT_EQ(LoadFrom(cache), (Texts{"small", large}));
  EXPECT_TRUE(Names().empty());
}
#endif

}  // namespace
}  // namespace Tav::Testing
