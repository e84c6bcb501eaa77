#include "cache/cache_manager.h"

#include <cstdint>

#include "cache/cache_file_name.h"
#include "cache/cache_fixture.h"
#include "util/tav_file.h"

namespace Tav {
namespace {

using namespace std::string_literals;
using Testing::CacheTest;
using Testing::CapturedLog;
using Testing::Chunk;
using Testing::RecordsOf;
using Testing::Texts;
using Testing::TextsOf;

// Appends and expects success.
void Store(CacheManager& cache, const Texts& texts) {
  RecordList records = RecordsOf(texts);
  EXPECT_TRUE(cache.Append(records));
  EXPECT_TRUE(records.Empty());
}

Texts LoadFrom(CacheManager& cache) {
  RecordList records;
  cache.Load(records);
  return TextsOf(records);
}

TEST(CacheFileName, PrefixTellsProductsAndModesApart) {
  EXPECT_EQ(CachePrefix("p1", "v"), "TavCache_0001AAD5_");
  EXPECT_EQ(CacheNameHash("\xC3\xA9"
                          "1"),
            0xFFFF10ABu)
      << "bytes are signed";
  SetCacheInternalMode(true);
  EXPECT_EQ(CachePrefix("p1", "v"), "TavICache_0001AAD5_");
  SetCacheDevelopmentMode(true);
  EXPECT_EQ(CachePrefix("p1", "v"), "TavDCache_0001AAD5_");
  SetCachePrefixOverride("Trial_");
  EXPECT_EQ(CachePrefix("p1", "v"), "Trial_");
  SetCachePrefixOverride("");
  SetCacheDevelopmentMode(false);
  SetCacheInternalMode(false);
  EXPECT_EQ(CachePrefix("p1", "v"), "TavCache_0001AAD5_");
}

TEST(CacheFileName, TakesNoNameButItsOwn) {
  EXPECT_EQ(CacheSequence("P_", CacheFileName("P_", 7)), 7);
  EXPECT_EQ(CacheSequence("P_", "P_9999"), 9999);
  for (const char* name : {"P_0000", "P_007", "P_00007", "P_10000", "P_0007 ", "P_+007", "p_0007",
                           "P_", "", "P_0007.bak", "P_00x7", "xP_0007"}) {
    EXPECT_EQ(CacheSequence("P_", name), 0) << name;
  }
}

TEST_F(CacheTest, StoresRecordsAndGivesThemBackInOrder) {
  const CapturedLog log;
  CacheManager cache = Manager();
  EXPECT_EQ(log.Find("CM: prefix"), "CM: prefix = '"s + kPrefix + "'");
  Store(cache, {"one", ""});
  Store(cache, {std::string(9000, 'x')});
  EXPECT_EQ(Contents(Name(1)), Chunk("one") + Chunk("") + Chunk(std::string(9000, 'x')));
  EXPECT_EQ(cache.TotalSize(), 8 + 5 + 9005);
  EXPECT_EQ(cache.FileCount(), 1u);
  EXPECT_EQ(cache.GetFileSequence(0), 1);
  EXPECT_EQ(cache.GetFileSequence(1), 0);
  EXPECT_EQ(log.Find("CM: Append data"),
            "CM: Append data to cache '" + PathOf(1) + "'. Cur file sz: 0.");
  EXPECT_EQ(log.Find("CM: file size"), "CM: file size now 13");

  RecordList records = RecordsOf({"older"});
  cache.Load(records);
  EXPECT_EQ(TextsOf(records), (Texts{"older", "one", "", std::string(9000, 'x')}));
  EXPECT_EQ(cache.TotalSize(), 0);
  EXPECT_EQ(cache.FileCount(), 0u);
  EXPECT_TRUE(Names().empty()) << "loading consumes";
  EXPECT_EQ(log.Find("warning"), "");
}

TEST_F(CacheTest, BeginsTheNextFileAtTheSizeBound) {
  const std::string text(60, 'r');
  {
    CacheManager cache = Manager(50, 130);
    Store(cache, {text, text, text, text, text});
    EXPECT_EQ(Names(), (Texts{Name(1), Name(2), Name(3)}));
    EXPECT_EQ(Contents(Name(1)).size(), 130u);
    EXPECT_EQ(Contents(Name(3)).size(), 65u);
  }
  CacheManager next = Manager(50, 130);
  next.ScanFiles(false);
  EXPECT_EQ(next.TotalSize(), 325);
  Store(next, {"a", "b"});
  EXPECT_EQ(Contents(Name(3)).size(), 77u) << "the newest file has room";
  next.SetLimits(50, 70);
  Store(next, {"c"});
  EXPECT_EQ(Contents(Name(4)), Chunk("c"));
}

TEST_F(CacheTest, LoadsOneFileAtATimeWhenAsked) {
  Put(Name(1), "");
  Put(Name(2), "?");
  Put(Name(3), Chunk("a") + Chunk("b"));
  Put(Name(4), Chunk("c"));
  CacheManager cache = Manager();
  RecordList records = RecordsOf({"first"});
  cache.LoadOldest(records);
  EXPECT_EQ(TextsOf(records), (Texts{"first", "a", "b"}));
  EXPECT_EQ(Names(), Texts{Name(4)});
  EXPECT_EQ(cache.TotalSize(), 6);
  cache.LoadOldest(records);
  cache.LoadOldest(records);
  EXPECT_EQ(TextsOf(records), (Texts{"first", "a", "b", "c"}));
}

TEST_F(CacheTest, FullCacheLosesItsOldestFiles) {
  const CapturedLog log;
  const std::string large(1048576 - 5, 'x');
  CacheManager cache = Manager();
  for (int i = 0; i < 49; ++i) {
    Store(cache, {large});
  }
  EXPECT_EQ(log.Find("warning"), "");
  Store(cache, {large});
  EXPECT_EQ(log.Find("warning"), "warning: CM: Cache is full (52428800, 52428800)");
  EXPECT_EQ(log.Find("CM: Deleting"), "CM: Deleting cache file " + PathOf(1));
  Store(cache, {"more"});
  EXPECT_EQ(cache.GetFileSequence(0), 2);
  EXPECT_EQ(cache.GetFileSequence(49), 51);
  EXPECT_EQ(cache.FileCount(), 50u);
  cache.DeleteAll();

  for (const uint32_t maxFiles : {0u, 1u}) {
    CacheManager small = Manager(maxFiles, 10);
    Store(small, {"first record", "second record", "third record"});
    EXPECT_EQ(LoadAll(), Texts{"third record"}) << "what was just stored stays";
  }
}

TEST_F(CacheTest, DeletesWhatIsThirtyDaysOld) {
  constexpr int64_t kMonth = 30 * 86400;
  const CapturedLog log;
  for (int i = 1; i <= 4; ++i) {
    Put(Name(i), Chunk("r" + std::to_string(i)));
  }
  SetModified(Name(1), now - kMonth);
  SetModified(Name(2), now - kMonth + 1);
  SetModified(Name(3), now - kMonth - 100);
  SetReadOnly(Name(3), true);
  const uint32_t aged = CacheManager::AgedFileCount();
  const uint32_t errors = CacheManager::ErrorCount();

  CacheManager cache = Manager();
  cache.ScanFiles(true);
  EXPECT_EQ(Names(), (Texts{Name(2), Name(3), Name(4)}));
  EXPECT_EQ(cache.FileCount(), 2u);
  EXPECT_EQ(cache.OldestTime(), now - kMonth + 1);
  EXPECT_EQ(CacheManager::AgedFileCount(), aged + 1);
  EXPECT_EQ(CacheManager::ErrorCount(), errors + 1);
  EXPECT_EQ(log.Find("CM: File '" + PathOf(1)),
            "CM: File '" + PathOf(1) + "' is old. Deleting it...");
  EXPECT_TRUE(log.Find("warning: CM: Failed")
                  .starts_with("warning: CM: Failed to delete old cache file '" + PathOf(3) + "'"));
  EXPECT_EQ(log.Find("CM: Load cache"), "CM: Load cache. File count = 2. Total size = 14 bytes");

  now += 10;
  EXPECT_EQ(LoadFrom(cache), (Texts{"r2", "r4"})) << "no file grows old while it waits";
  EXPECT_FALSE(cache.Disabled());
  cache.ScanFiles(false);
  EXPECT_EQ(cache.OldestTime(), 0);
  SetReadOnly(Name(3), false);
}

TEST_F(CacheTest, LeavesForeignFilesAlone) {
  const Texts foreign = {"TavCache_0001AAD6_0001",
                         "TavDCache_0001AAD5_0001",
                         kPrefix + "00001"s,
                         kPrefix + "0001.tmp"s,
                         "TavData",
                         kPrefix + "0000"s};
  for (const std::string& name : foreign) {
    Put(name, "anything");
    SetModified(name, 86400);
  }
  Texts before = Names();
  CacheManager cache = Manager();
  cache.ScanFiles(true);
  EXPECT_EQ(cache.FileCount(), 0u);
  Store(cache, {"x"});
  EXPECT_EQ(LoadFrom(cache), Texts{"x"});
  cache.DeleteAll();
  EXPECT_EQ(Names(), before);
  EXPECT_EQ(Contents(foreign[0]), "anything");
}

TEST_F(CacheTest, IsDisabledWithoutItsFolder) {
  const CapturedLog log;
  for (const std::string& folder : {""s, Folder() + "/missing"}) {
    CacheManager cache(folder, "p1", "v");
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

TEST_F(CacheTest, IsDisabledWhenNoFileCanBeOpenedOrDeleted) {
  const CapturedLog log;
  {
    CacheManager cache = Manager();
    std::filesystem::remove(folder_);
    RecordList records = RecordsOf({"a", "b"});
    const uint32_t errors = CacheManager::ErrorCount();
    EXPECT_FALSE(cache.Append(records));
    EXPECT_TRUE(cache.Disabled());
    EXPECT_EQ(TextsOf(records), (Texts{"a", "b"}));
    EXPECT_EQ(CacheManager::ErrorCount(), errors + 1);
    const std::string line = log.Find("warning: CM: Cannot open");
    EXPECT_NE(line.find("'. Disabling cache: 1 - (2) "), std::string::npos) << line;
  }
  std::filesystem::create_directories(folder_ / Name(1));
  CacheManager cache = Manager();
  EXPECT_TRUE(cache.DeleteFile(2)) << "a missing file counts as deleted";
  EXPECT_FALSE(cache.DeleteFile(1));
  EXPECT_TRUE(cache.Disabled());
  EXPECT_TRUE(log.Find("warning: CM: Cannot delete")
                  .starts_with("warning: CM: Cannot delete cache file " + PathOf(1) +
                               ". Cache disabled now. - (13) "));
  Put(Name(2), Chunk("still loaded"));
  EXPECT_EQ(LoadFrom(cache), Texts{"still loaded"});
}

TEST_F(CacheTest, NeverWritesBehindDamage) {
  const std::string whole = Chunk("one") + Chunk("two");
  const std::vector<std::string> tails = {whole.substr(0, 9),  whole.substr(0, 11),
                                          whole.substr(0, 15), whole + '\0',
                                          "{\"a\":1}\n",       std::string(20, '\0')};
  for (const std::string& tail : tails) {
    Put(Name(3), tail);
    CacheManager cache = Manager();
    cache.ScanFiles(false);
    Store(cache, {"new"});
    Store(cache, {"newer"});
    EXPECT_EQ(Contents(Name(3)), tail);
    EXPECT_EQ(Contents(Name(4)), Chunk("new") + Chunk("newer"));
    const Texts all = LoadFrom(cache);
    ASSERT_GE(all.size(), 2u);
    EXPECT_EQ(Texts(all.end() - 2, all.end()), (Texts{"new", "newer"}));
  }
  Put(Name(3), whole);
  CacheManager cache = Manager();
  Store(cache, {"new"});
  EXPECT_EQ(Contents(Name(3)), whole + Chunk("new"));
}

TEST_F(CacheTest, LooksAtTheEndAgainWhenSomebodyElseHasWritten) {
  CacheManager cache = Manager();
  Store(cache, {"mine"});
  std::ofstream(folder_ / Name(1), std::ios::app | std::ios::binary) << Chunk("torn").substr(0, 6);
  Store(cache, {"next"});
  EXPECT_EQ(Contents(Name(2)), Chunk("next"));
  EXPECT_EQ(LoadFrom(cache), (Texts{"mine", "next"}));
}

TEST_F(CacheTest, TwoManagersLoseNothingToEachOther) {
  CacheManager a = Manager(50, 40);
  CacheManager b = Manager(50, 40);
  a.ScanFiles(false);
  b.ScanFiles(false);
  Store(a, {"a1"});
  Store(b, {"b1"});
  EXPECT_EQ(Contents(Name(1)), Chunk("a1") + Chunk("b1")) << "b saw what a had begun";
  Store(a, {std::string(30, 'a')});
  Store(b, {"b2"});
  EXPECT_EQ(Contents(Name(2)), Chunk("b2")) << "b saw that a had filled the file";
  EXPECT_EQ(LoadFrom(a), (Texts{"a1", "b1", std::string(30, 'a'), "b2"}));
  Store(b, {"b3"});
  EXPECT_EQ(Names(), Texts{Name(1)}) << "b saw that the files were consumed";
  EXPECT_EQ(LoadFrom(a), Texts{"b3"}) << "a saw what b had begun";
  EXPECT_EQ(LoadFrom(b), Texts{});
  EXPECT_FALSE(a.Disabled() || b.Disabled());
}

TEST_F(CacheTest, PassesByWhatSomebodyElseHasInUse) {
  const CapturedLog log;
  CacheManager cache = Manager(3, 20);
  const std::string old(10, 'o');
  for (const bool atomic : {false, true}) {
    Store(cache, {old});
    TavFile holder;
    ASSERT_TRUE(atomic ? holder.OpenAtomic(PathOf(1).c_str())
                       : holder.OpenForAppend(PathOf(1).c_str()));
    Store(cache, {"new"});
    EXPECT_EQ(Contents(Name(2)), Chunk("new"));
    EXPECT_EQ(LoadFrom(cache), Texts{"new"});
    EXPECT_NE(log.Find("warning: CM: Could not open cache file '" + PathOf(1) +
                       "' to load. Cache disabled: 0"),
              "");
    EXPECT_EQ(cache.TotalSize(), 15) << "still there";
    if (!atomic) {
      EXPECT_FALSE(cache.DeleteFile(1));
    }
    Store(cache, {std::string(20, 'x'), std::string(20, 'y')});
    EXPECT_EQ(Names(), (Texts{Name(1), Name(2), Name(3)})) << "the bound passes it by, too";
    EXPECT_FALSE(cache.Disabled());
    holder.Close();
    const Texts kept = {std::string(20, 'x'), std::string(20, 'y')};
    EXPECT_EQ(LoadFrom(cache), atomic ? kept : (Texts{old, kept[0], kept[1]}));
  }
}

TEST_F(CacheTest, NumbersEndAt9999) {
  const CapturedLog log;
  Put(Name(9998), std::string(30, 'f'));
  CacheManager cache = Manager(50, 30);
  uint32_t errors = CacheManager::ErrorCount();
  Store(cache, {"last file"});
  EXPECT_EQ(CacheManager::ErrorCount(), ++errors);
  RecordList records = RecordsOf({std::string(20, 'x'), "rest"});
  EXPECT_FALSE(cache.Append(records));
  EXPECT_EQ(CacheManager::ErrorCount(), ++errors);
  EXPECT_EQ(TextsOf(records), Texts{"rest"});
  EXPECT_FALSE(cache.Append(records));
  EXPECT_EQ(CacheManager::ErrorCount(), ++errors);
  EXPECT_EQ(TextsOf(records), Texts{"rest"});
  EXPECT_NE(log.Find("warning: CM: No cache file number is left"), "");
  EXPECT_EQ(Names(), (Texts{Name(9998), Name(9999)}));

  EXPECT_EQ(LoadFrom(cache), (Texts{"last file", std::string(20, 'x')}));
  EXPECT_TRUE(cache.Append(records)) << "numbers begin anew once the files are consumed";
  EXPECT_EQ(Names(), Texts{Name(1)});
}

TEST_F(CacheTest, KeepsBackRecordsThatNoChunkCanHold) {
  RecordList records = RecordsOf({"a", std::string(0x1000000, 'L'), "b"});
  CacheManager cache = Manager();
  EXPECT_FALSE(cache.Append(records));
  EXPECT_EQ(Contents(Name(1)), Chunk("a") + Chunk("b"));
  ASSERT_TRUE(records.HasOne());
  EXPECT_EQ(records.First()->Size(), 0x1000000);
}

TEST_F(CacheTest, DeletesFilesOfAnyAge) {
  for (int i = 1; i <= 3; ++i) {
    Put(Name(i), Chunk("x"));
  }
  CacheManager cache = Manager();
  cache.ScanFiles(false);
  Put(Name(4), Chunk("of another process"));
  SetModified(Name(2), 86400);
  cache.DeleteAll();
  EXPECT_TRUE(Names().empty());
  EXPECT_EQ(cache.TotalSize(), 0);
}

}  // namespace
}  // namespace Tav
