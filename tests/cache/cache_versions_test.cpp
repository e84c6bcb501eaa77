// The files of the product's other versions, and files whose time is wrong.
#include "cache/cache_fixture.h"
#include "util/tav_file.h"

namespace Tav::Testing {
namespace {

class CacheVersionsTest : public CacheFixture {
 protected:
  static std::string PrefixOf(const char* version) {
    return CachePrefix("p1", version, Deployment());
  }
  static std::string NameOf(const char* version, int sequence) {
    return CacheFileName(PrefixOf(version), sequence);
  }
  void PutOf(const char* version, int sequence, const std::string& contents, int64_t age) const {
    const std::string name = NameOf(version, sequence);
    folder_.Put(name.c_str(), contents);
    SetModified(path_ / name, now - age);
  }
  // CacheManager cannot be moved.
  struct Upgraded : CacheManager {
    explicit Upgraded(const std::string& folder)
        : CacheManager(folder, PrefixOf("v"), [] { return now; }) {
      for (const char* version : {"v1", "v", "v2", "none"}) {
        AddVersion(PrefixOf(version));
      }
    }
  };
};

TEST_F(CacheVersionsTest, TheOwnFilesAreLoadedFirstThenVersionByVersion) {
  PutOf("v2", 1, Chunk("two"), 0);
  PutOf("v1", 7, Chunk("one.b"), 100);
  PutOf("v1", 3, Chunk("one.a"), 0);
  PutOf("v0", 1, Chunk("not asked for"), 0);
  Put(1, Chunk("own"));
  Upgraded cache(Folder());
  cache.ScanFiles(true);
  EXPECT_EQ(cache.OldestTime(), now - 100);
  EXPECT_EQ(cache.FileCount(), 4u);
  EXPECT_EQ(cache.TotalSize(), 8 + 8 + 10 + 10);
  EXPECT_EQ(cache.GetFileSequence(1), 0) << "its own files only";
  TavFile held;  // by a process of that version
  ASSERT_TRUE(held.OpenForAppend(StorageFolder::Utf8(path_ / NameOf("v1", 3)).c_str()));
  for (const char* text : {"own", "one.b", "two"}) {
    RecordList records;
    ASSERT_TRUE(cache.Lease(records));
    EXPECT_EQ(TextsOf(records), Texts{text});
    cache.EndLease();
  }
  RecordList records;
  EXPECT_FALSE(cache.Lease(records));
  held.Close();
  EXPECT_TRUE(cache.Lease(records));
  EXPECT_EQ(TextsOf(records), Texts{"one.a"});
  Store(cache, {"new"});
  EXPECT_EQ(Contents(1), Chunk("new"));
}

TEST_F(CacheVersionsTest, AgeAndLimitsApplyToAllTogether) {
  const CapturedLog log;
  const std::string full(20, 'f');
  PutOf("v1", 1, Chunk("old"), 30 * 86400);
  PutOf("v1", 2, Chunk(full), 100);
  PutOf("v2", 5, Chunk(full), 200);
  Upgraded cache(Folder());
  cache.ScanFiles(false);
  EXPECT_EQ(log.Find("warning: CM:"),
            "warning: CM: Deleted a cache file of 8 bytes because of its age");
  cache.SetLimits(3, 25);
  Store(cache, {full});
  EXPECT_EQ(Names(), (Texts{Name(1), NameOf("v1", 2)}));
  EXPECT_NE(log.Find("warning: CM: Deleted a cache file of 25 bytes because the cache is full"),
            "");
  Store(cache, {full});
  EXPECT_EQ(Names(), (Texts{Name(1), Name(2)}));
  cache.SetLimits(1, 25);
  Store(cache, {full});
  EXPECT_EQ(Names(), Texts{Name(3)}) << "never the newest own one";
}

TEST_F(CacheVersionsTest, AnOptOutDeletesThemAll) {
  PutOf("v1", 1, Chunk("a"), 0);
  PutOf("v2", 1, Chunk("b"), 100 * 86400);
  PutOf("v0", 1, Chunk("c"), 0);
  Put(1, Chunk("own"));
  Upgraded cache(Folder());
  cache.DeleteAll();
  EXPECT_EQ(Names(), Texts{NameOf("v0", 1)});
}

TEST_F(CacheVersionsTest, ANoteFindsItsFileByTheChecksum) {
  PutOf("v1", 1, Chunk("a") + Chunk("b"), 0);
  PutOf("v2", 1, Chunk("c") + Chunk("d"), 0);
  LeaseNote note;
  {
    Upgraded killed(Folder());
    RecordList records;
    ASSERT_TRUE(killed.Lease(records));
    killed.EndLease();
    PutOf("v1", 1, Chunk("a") + Chunk("b"), 0);
    Upgraded second(Folder());
    records.Clear();
    ASSERT_TRUE(second.Lease(records));
    ASSERT_EQ(TextsOf(records), (Texts{"a", "b"}));
    second.Consume(records.TakeFirst()->fileEnd);
    ASSERT_TRUE(second.MakeNote(note));
  }
  Upgraded next(Folder());
  next.ScanFiles(false);
  next.DropAccepted(note);
  EXPECT_EQ(LoadFrom(next), (Texts{"b", "c", "d"}));
}

TEST_F(CacheVersionsTest, AFileWithAnImplausibleTimeIsDatedNow) {
  const int64_t today = now;
  constexpr int64_t kDay = 86400;
  constexpr int64_t kYear2100 = 4'102'444'800;
  Put(1, Chunk("1970"));
  SetModified(PathOf(1), 1000);
  Put(2, Chunk("tomorrow"));
  SetModified(PathOf(2), today + kDay);
  Put(3, Chunk("2100"));
  SetModified(PathOf(3), kYear2100);
  Put(4, Chunk("last week"));
  SetModified(PathOf(4), today - 7 * kDay);
  {
    CacheManager cache = Manager();
    cache.ScanFiles(true);
    EXPECT_EQ(cache.FileCount(), 4u);
    EXPECT_EQ(cache.OldestTime(), today - 7 * kDay);
  }
  EXPECT_EQ(Modified(PathOf(1)), today);
  EXPECT_EQ(Modified(PathOf(2)), today + kDay);
  EXPECT_EQ(Modified(PathOf(3)), today);
  // A clock that is wrong empties nothing, and leaves no file that never ages.
  for (const int64_t wrong : {kYear2100, int64_t{1000}, today}) {
    now = wrong;
    CacheManager cache = Manager();
    cache.ScanFiles(true);
    EXPECT_EQ(cache.FileCount(), 4u) << wrong;
    EXPECT_GE(cache.OldestTime(), wrong - 7 * kDay);
    EXPECT_LE(cache.OldestTime(), wrong + kDay);
    RecordList records;
    EXPECT_TRUE(cache.Lease(records));
    cache.AbandonLease();
  }
  now = today + 31 * kDay;
  CacheManager later = Manager();
  later.ScanFiles(false);
  now = today;
  EXPECT_EQ(later.FileCount(), 0u);
}

TEST_F(CacheVersionsTest, AFileInUseCountsAsDatedNow) {
  Put(1, Chunk("r"));
  SetModified(PathOf(1), 1000);
  TavFile holder;
  ASSERT_TRUE(holder.OpenForAppend(PathText(1).c_str()));
  CacheManager cache = Manager();
  cache.ScanFiles(true);
  EXPECT_EQ(cache.OldestTime(), now);
  EXPECT_EQ(cache.FileCount(), 1u);
}

}  // namespace
}  // namespace Tav::Testing
