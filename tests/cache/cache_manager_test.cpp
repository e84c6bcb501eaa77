#include "cache/cache_manager.h"

#include <chrono>
#include <cstdint>
#include <fstream>

#include "cache/cache_fixture.h"
#include "util/tav_file.h"

namespace Tav::Testing {
namespace {

using namespace std::string_literals;

class CacheManagerTest : public CacheFixture {};

TEST_F(CacheManagerTest, StoresRecordsAndLoadsThemInOrder) {
  const CapturedLog log;
  CacheManager cache = Manager();
  EXPECT_EQ(log.Find("CM: prefix"), "CM: prefix = '"s + kPrefix + "'");
  Store(cache, {"one", ""});
  Store(cache, {std::string(9000, 'x')});
  EXPECT_EQ(Contents(1), Chunk("one") + Chunk("") + Chunk(std::string(9000, 'x')));
  EXPECT_EQ(cache.TotalSize(), 8 + 5 + 9005);
  EXPECT_EQ(cache.GetFileSequence(0), 1);
  EXPECT_EQ(cache.GetFileSequence(1), 0);
  EXPECT_NE(log.Find("CM: Append data to cache '" + PathText(1) + "'. Cur file sz: 0."), "");
  EXPECT_EQ(log.Find("CM: file size"), "CM: file size now 13");

  RecordList records = RecordsOf({"older"});
  cache.Load(records);
  EXPECT_EQ(TextsOf(records), (Texts{"older", "one", "", std::string(9000, 'x')}));
  EXPECT_EQ(cache.TotalSize(), 0);
  EXPECT_TRUE(Names().empty()) << "loading consumes";
  EXPECT_EQ(log.Find("warning"), "");
}

TEST_F(CacheManagerTest, BeginsTheNextFileAtTheSizeLimit) {
  const std::string text(60, 'r');
  CacheManager cache = Manager();
  cache.SetLimits(50, 130);
  Store(cache, {text, text, text, text, text});
  EXPECT_EQ(Names(), (Texts{Name(1), Name(2), Name(3)}));
  EXPECT_EQ(Contents(1).size(), 130u);
  EXPECT_EQ(Contents(3).size(), 65u);
  CacheManager next = Manager();
  next.SetLimits(50, 130);
  next.ScanFiles(false);
  EXPECT_EQ(next.TotalSize(), 325);
  Store(next, {"a", "b"});
  EXPECT_EQ(Contents(3).size(), 77u) << "the newest file has room";
  next.SetLimits(50, 70);
  Store(next, {"c"});
  EXPECT_EQ(Contents(4), Chunk("c"));
}

TEST_F(CacheManagerTest, DeletesTheOldestFilesOfAFullCache) {
  const CapturedLog log;
  const std::string large(1048576 - 5, 'x');
  CacheManager cache = Manager();
  for (int i = 0; i < 49; ++i) {
    Store(cache, {large});
  }
  EXPECT_EQ(log.Find("warning"), "");
  Store(cache, {large});
  EXPECT_EQ(log.Find("warning"), "warning: CM: Cache is full (52428800, 52428800)");
  EXPECT_EQ(log.Find("CM: Deleting"), "CM: Deleting cache file " + PathText(1));
  Store(cache, {"more"});
  EXPECT_EQ(cache.GetFileSequence(0), 2);
  EXPECT_EQ(cache.GetFileSequence(49), 51);
  EXPECT_EQ(cache.FileCount(), 50u);
  cache.SetLimits(UINT32_MAX, UINT32_MAX);
  Store(cache, {"a limit beyond 63 bits"});
  EXPECT_EQ(cache.FileCount(), 50u);
  cache.DeleteAll();

  for (const uint32_t maxFiles : {0u, 1u}) {
    CacheManager small = Manager();
    small.SetLimits(maxFiles, 10);
    Store(small, {"first record", "second record", "third record"});
    EXPECT_EQ(LoadAll(), Texts{"third record"}) << "the newest file stays";
  }
}

TEST_F(CacheManagerTest, DeletesFilesThatAreThirtyDaysOld) {
  using std::filesystem::perms;
  constexpr int64_t kMonth = 30 * 86400;
  const CapturedLog log;
  for (int i = 1; i <= 4; ++i) {
    Put(i, Chunk("r" + std::to_string(i)));
  }
  SetModified(PathOf(1), now - kMonth);
  SetModified(PathOf(2), now - kMonth + 1);
  SetModified(PathOf(3), now - kMonth - 100);
  std::filesystem::permissions(PathOf(3), perms::owner_read);
  const uint32_t aged = CacheManager::AgedFileCount();
  const uint32_t errors = CacheManager::ErrorCount();

  CacheManager cache = Manager();
  cache.ScanFiles(true);
  EXPECT_EQ(Names(), (Texts{Name(2), Name(3), Name(4)}));
  EXPECT_EQ(cache.FileCount(), 2u);
  EXPECT_EQ(cache.OldestTime(), now - kMonth + 1);
  EXPECT_EQ(CacheManager::AgedFileCount(), aged + 1);
  EXPECT_EQ(CacheManager::ErrorCount(), errors + 1);
  EXPECT_NE(log.Find("CM: File '" + PathText(1) + "' is old. Deleting it..."), "");
  EXPECT_NE(log.Find("warning: CM: Failed to delete old cache file '" + PathText(3)), "");
  EXPECT_EQ(log.Find("CM: Load cache"), "CM: Load cache. File count = 2. Total size = 14 bytes");

  now += 10;
  EXPECT_EQ(LoadFrom(cache), (Texts{"r2", "r4"})) << "known files do not become too old";
  EXPECT_FALSE(cache.Disabled());
  cache.ScanFiles(false);
  EXPECT_EQ(cache.OldestTime(), 0);
  std::filesystem::permissions(PathOf(3), perms::owner_all);
}

TEST_F(CacheManagerTest, DeletesItsOwnFilesOfAnyAgeAndNoOthers) {
  const Texts foreign = {kPrefix + "0001.tmp"s, "TavCache_0001AAD6_0001",
                         "TavDCache_0001AAD5_0001"};
  for (const std::string& name : foreign) {
    folder_.Put(name.c_str(), "anything");
    SetModified(path_ / name, 86400);
  }
  Put(1, Chunk("x"));
  CacheManager cache = Manager();
  cache.ScanFiles(true);
  EXPECT_EQ(cache.FileCount(), 1u);
  Put(2, Chunk("of another process"));
  SetModified(PathOf(1), 86400);
  cache.DeleteAll();
  EXPECT_EQ(Names(), foreign);
  EXPECT_EQ(cache.TotalSize(), 0);
}

TEST_F(CacheManagerTest, IsDisabledWithoutItsFolder) {
  const CapturedLog log;
  for (const std::string& folder : {""s, Folder() + "/missing"}) {
    CacheManager cache(folder, kPrefix);
    EXPECT_TRUE(cache.Disabled());
    EXPECT_EQ(log.Find("CM: cache"), "CM: cache disabled because the PS dir does not exist.");
    cache.ScanFiles(true);
    cache.DeleteAll();
    RecordList records = RecordsOf({"kept"});
    EXPECT_FALSE(cache.Append(records));
    cache.Load(records);
    EXPECT_EQ(TextsOf(records), Texts{"kept"});
  }
  EXPECT_EQ(log.Find("warning"), "");
}

TEST_F(CacheManagerTest, IsDisabledWhenNoFileCanBeOpenedOrDeleted) {
  const CapturedLog log;
  CacheManager first = Manager();
  std::filesystem::remove(path_);
  RecordList records = RecordsOf({"a", "b"});
  const uint32_t errors = CacheManager::ErrorCount();
  EXPECT_FALSE(first.Append(records));
  EXPECT_TRUE(first.Disabled());
  EXPECT_EQ(TextsOf(records), (Texts{"a", "b"}));
  EXPECT_EQ(CacheManager::ErrorCount(), errors + 1);
  const std::string line = log.Find("warning: CM: Cannot open");
  EXPECT_NE(line.find("'. Disabling cache: 1 - (2) "), std::string::npos) << line;

  std::filesystem::create_directories(PathOf(1));
  CacheManager cache = Manager();
  EXPECT_TRUE(cache.DeleteFile(2)) << "a missing file counts as deleted";
  EXPECT_FALSE(cache.DeleteFile(1));
  EXPECT_TRUE(cache.Disabled());
  EXPECT_NE(log.Find("warning: CM: Cannot delete cache file " + PathText(1) +
                     ". Cache disabled now. - (13) "),
            "");
  Put(2, Chunk("still loaded"));
  EXPECT_EQ(LoadFrom(cache), Texts{"still loaded"});
}

TEST_F(CacheManagerTest, NeverAppendsToADamagedFile) {
  const std::string whole = Chunk("one") + Chunk("two");
  for (const std::string& damaged : {whole.substr(0, 9), whole.substr(0, 11), whole.substr(0, 15),
                                     whole + '\0', "{\"a\":1}\n"s, std::string(20, '\0')}) {
    Put(3, damaged);
    CacheManager cache = Manager();
    cache.ScanFiles(false);
    Store(cache, {"new"});
    Store(cache, {"newer"});
    EXPECT_EQ(Contents(3), damaged);
    EXPECT_EQ(Contents(4), Chunk("new") + Chunk("newer"));
    cache.DeleteAll();
  }
  Put(3, whole);
  CacheManager cache = Manager();
  Store(cache, {"new"});
  EXPECT_EQ(Contents(3), whole + Chunk("new"));
  // Another process dies while it writes to a file that this manager has already checked.
  std::ofstream(PathOf(3), std::ios::app | std::ios::binary) << Chunk("torn").substr(0, 6);
  Store(cache, {"newer"});
  EXPECT_EQ(Contents(4), Chunk("newer"));
  EXPECT_EQ(LoadFrom(cache), (Texts{"one", "two", "new", "newer"}));
}

TEST_F(CacheManagerTest, SharesItsFilesWithAnotherManager) {
  CacheManager a = Manager();
  CacheManager b = Manager();
  a.SetLimits(50, 40);
  b.SetLimits(50, 40);
  Store(a, {"a1"});
  Store(b, {"b1"});
  EXPECT_EQ(Contents(1), Chunk("a1") + Chunk("b1")) << "b uses the file that a began";
  Store(a, {std::string(30, 'a')});
  Store(b, {"b2"});
  EXPECT_EQ(Contents(2), Chunk("b2")) << "b sees that a has filled the file";
  EXPECT_EQ(LoadFrom(a), (Texts{"a1", "b1", std::string(30, 'a'), "b2"}));
  Store(b, {"b3"});
  EXPECT_EQ(Names(), Texts{Name(1)}) << "b sees that the files are consumed";
  EXPECT_EQ(LoadFrom(a), Texts{"b3"}) << "a sees the file that b began";
  EXPECT_EQ(LoadFrom(b), Texts{});
  EXPECT_FALSE(a.Disabled() || b.Disabled());
}

TEST_F(CacheManagerTest, SkipsFilesInUse) {
  const CapturedLog log;
  CacheManager cache = Manager();
  cache.SetLimits(3, 20);
  const std::string old(10, 'o');
  for (const bool atomic : {false, true}) {
    Store(cache, {old});
    TavFile holder;
    const std::string path = PathText(1);
    ASSERT_TRUE(atomic ? holder.OpenAtomic(path.c_str()) : holder.OpenForAppend(path.c_str()));
    Store(cache, {"new"});
    EXPECT_EQ(Contents(2), Chunk("new"));
    EXPECT_EQ(LoadFrom(cache), Texts{"new"});
    EXPECT_TRUE(log.Find("warning: CM: Could not open").ends_with("to load. Cache disabled: 0"));
    EXPECT_EQ(cache.TotalSize(), 15) << "still there";
    if (!atomic) {
      EXPECT_FALSE(cache.DeleteFile(1));
    }
    Store(cache, {std::string(20, 'x'), std::string(20, 'y')});
    EXPECT_EQ(Names(), (Texts{Name(1), Name(2), Name(3)})) << "a full cache skips it, too";
    EXPECT_FALSE(cache.Disabled());
    holder.Close();
    const Texts kept = {std::string(20, 'x'), std::string(20, 'y')};
    EXPECT_EQ(LoadFrom(cache), (Texts{old, kept[0], kept[1]}));
  }
}

TEST_F(CacheManagerTest, StopsAtSequence9999) {
  const CapturedLog log;
  Put(9998, std::string(30, 'f'));
  CacheManager cache = Manager();
  cache.SetLimits(50, 30);
  uint32_t errors = CacheManager::ErrorCount();
  Store(cache, {"last file"});
  EXPECT_EQ(CacheManager::ErrorCount(), ++errors);
  RecordList records = RecordsOf({std::string(20, 'x'), "rest"});
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(cache.Append(records));
    EXPECT_EQ(CacheManager::ErrorCount(), ++errors);
    EXPECT_EQ(TextsOf(records), Texts{"rest"});
  }
  EXPECT_NE(log.Find("warning: CM: No cache file number is left"), "");
  EXPECT_EQ(Names(), (Texts{Name(9998), Name(9999)}));

  EXPECT_EQ(LoadFrom(cache), (Texts{"last file", std::string(20, 'x')}));
  EXPECT_TRUE(cache.Append(records)) << "begins at 1 again when no file is left";
  EXPECT_EQ(Names(), Texts{Name(1)});
}

TEST_F(CacheManagerTest, LeavesRecordsThatAreTooLargeInTheList) {
  RecordList records = RecordsOf({"a", std::string(0x1000000, 'L'), "b"});
  CacheManager cache = Manager();
  const uint32_t errors = CacheManager::ErrorCount();
  EXPECT_FALSE(cache.Append(records));
  EXPECT_EQ(CacheManager::ErrorCount(), errors + 1);
  EXPECT_EQ(Contents(1), Chunk("a") + Chunk("b"));
  EXPECT_TRUE(records.HasOne());
  EXPECT_EQ(records.Bytes(), 0x1000000);
}

}  // namespace
}  // namespace Tav::Testing
