// A cache file stays on the disk until its records were accepted.
#include <optional>

#include "cache/cache_fixture.h"
#include "util/tav_file.h"

namespace Tav::Testing {
namespace {

class CacheLeaseTest : public CacheFixture {
 protected:
  // The first `count` records are accepted. Returns the note about the last of them.
  static std::optional<LeaseNote> Accept(CacheManager& cache, RecordList& records, int count) {
    std::optional<LeaseNote> last;
    for (int i = 0; i < count; ++i) {
      cache.Consume(records.TakeFirst()->fileEnd);
      LeaseNote note;
      last = cache.MakeNote(note) ? std::optional(note) : std::nullopt;
    }
    return last;
  }
  void PutDated(int sequence, const std::string& contents) const {
    Put(sequence, contents);
    SetModified(PathOf(sequence), kDate());
  }
  static int64_t kDate() { return now - 20 * 86400; }

  const std::string contents_ = Chunk("one") + Chunk("second") + Chunk("three");
};

TEST_F(CacheLeaseTest, TheOldestFileWithARecordStaysUntilAllAreAccepted) {
  Put(1, "");
  Put(2, "?");
  PutDated(3, contents_);
  Put(4, Chunk("four"));
  CacheManager cache = Manager();
  RecordList records = RecordsOf({"first"});
  ASSERT_TRUE(cache.Lease(records));
  EXPECT_EQ(TextsOf(records), (Texts{"first", "one", "second", "three"}));
  EXPECT_EQ(Names(), (Texts{Name(3), Name(4)}));
  EXPECT_EQ(cache.TotalSize(), static_cast<int>(contents_.size()) + 9);
  EXPECT_EQ(cache.UnleasedBytes(), 9);
  EXPECT_EQ(LoadAll(), Texts{"four"}) << "in use for others";
  Store(cache, {"new"});
  EXPECT_EQ(Contents(4), Chunk("new")) << "also for its own manager";
  EXPECT_EQ(Modified(PathOf(3)), kDate());
  cache.EndLease();
  EXPECT_EQ(Names(), Texts{Name(4)});
  EXPECT_EQ(cache.TotalSize(), 8);
}

TEST_F(CacheLeaseTest, AFileOfWhichNothingWasAcceptedStaysAsItIs) {
  const std::string damaged = contents_ + "tail";
  PutDated(1, damaged);
  CacheManager cache = Manager();
  RecordList records;
  ASSERT_TRUE(cache.Lease(records));
  EXPECT_TRUE(cache.ReturnLease(records));
  EXPECT_EQ(Contents(1), damaged);
  EXPECT_EQ(Modified(PathOf(1)), kDate());
  EXPECT_FALSE(cache.HasLease());
  EXPECT_EQ(LoadFrom(cache), (Texts{"one", "second", "three"}));
}

TEST_F(CacheLeaseTest, AFileAcceptedInPartIsRewrittenWithItsOldTime) {
  PutDated(1, contents_);
  Put(2, Chunk("newer"));
  CacheManager cache = Manager();
  RecordList records;
  ASSERT_TRUE(cache.Lease(records));
  Accept(cache, records, 1);
  EXPECT_TRUE(cache.ReturnLease(records));
  EXPECT_EQ(Contents(1), Chunk("second") + Chunk("three"));
  EXPECT_EQ(Modified(PathOf(1)), kDate());
  EXPECT_EQ(Names(), (Texts{Name(1), Name(2)}));
  EXPECT_EQ(cache.TotalSize(), 11 + 10 + 10);
  EXPECT_EQ(LoadFrom(cache), (Texts{"second", "three", "newer"}));
}

TEST_F(CacheLeaseTest, AFileThatCannotBeRewrittenIsHeldOn) {
  const CapturedLog log;
  Put(9999, contents_);  // no number is left for the copy
  CacheManager cache = Manager();
  RecordList records;
  ASSERT_TRUE(cache.Lease(records));
  Accept(cache, records, 1);
  EXPECT_FALSE(cache.ReturnLease(records));
  EXPECT_TRUE(cache.HasLease());
  EXPECT_EQ(log.Find("warning: CM: Cannot rewrite cache file '" + PathText(9999)),
            log.Find("warning"));
  EXPECT_EQ(Names(), Texts{Name(9999)});
  cache.EndLease();
  EXPECT_EQ(Names(), Texts{});
}

TEST_F(CacheLeaseTest, ARewriteThatCannotDeleteTheOldFileLeavesNoCopy) {
  using std::filesystem::perms;
  Put(1, contents_);
  CacheManager cache = Manager();
  RecordList records;
  ASSERT_TRUE(cache.Lease(records));
  Accept(cache, records, 1);
  std::filesystem::permissions(PathOf(1), perms::owner_read);
  EXPECT_FALSE(cache.ReturnLease(records));
  EXPECT_EQ(Names(), Texts{Name(1)});
  std::filesystem::permissions(PathOf(1), perms::owner_all);
  EXPECT_TRUE(cache.ReturnLease(records)) << "the lease was still held";
  EXPECT_EQ(Contents(1), Chunk("second") + Chunk("three"));
}

TEST_F(CacheLeaseTest, AFileThatCannotBeDeletedIsHeldAndDeletedLater) {
  using std::filesystem::perms;
  CapturedLog log;
  for (const bool later : {true, false}) {
    Put(1, contents_);
    {
      CacheManager cache = Manager();
      RecordList records;
      ASSERT_TRUE(cache.Lease(records));
      std::filesystem::permissions(PathOf(1), perms::owner_read);
      cache.EndLease();
      EXPECT_EQ(log.Find("warning: CM: Cannot delete")
                    .find("warning: CM: Cannot delete cache file '" + PathText(1) +
                          "'. It is passed over"),
                0u);
      EXPECT_EQ(cache.TotalSize(), 0);
      EXPECT_EQ(LoadFrom(cache), Texts{});
      EXPECT_EQ(LoadAll(), Texts{}) << "in use for others";
      if (later) {
        std::filesystem::permissions(PathOf(1), perms::owner_all);
        Store(cache, {"new"});
        EXPECT_EQ(LoadFrom(cache), Texts{"new"});
      }
    }
    EXPECT_EQ(Names(), later ? Texts{} : Texts{Name(1)});
    EXPECT_EQ(log.Find("warning: CM: 1 cache files"),
              later ? ""
                    : "warning: CM: 1 cache files cannot be deleted. Their records will be sent "
                      "again");
    log.Take();
  }
  std::filesystem::permissions(PathOf(1), perms::owner_all);
}

TEST_F(CacheLeaseTest, TheLimitSparesTheLeasedFile) {
  const std::string full(20, 'f');
  Put(1, Chunk("leased" + full));
  Put(2, Chunk("other" + full));
  CacheManager cache = Manager();
  cache.SetLimits(2, 25);
  RecordList records;
  ASSERT_TRUE(cache.Lease(records));
  Store(cache, {"new" + full});
  EXPECT_EQ(Names(), (Texts{Name(1), Name(3)}));
  EXPECT_EQ(cache.FileCount(), 2u);
}

// The copy of the folder is what a killed process leaves.
TEST_F(CacheLeaseTest, AfterAKillOnlyWhatTheNoteDoesNotCoverIsSentAgain) {
  for (int accepted = 0; accepted <= 3; ++accepted) {
    PutDated(1, contents_);
    std::optional<LeaseNote> note;
    {
      CacheManager killed = Manager();
      RecordList records;
      ASSERT_TRUE(killed.Lease(records));
      note = Accept(killed, records, accepted);
      killed.AbandonLease();
    }
    EXPECT_EQ(Contents(1), contents_);
    EXPECT_EQ(note.has_value(), accepted > 0);
    CacheManager next = Manager();
    next.ScanFiles(false);
    if (note) {
      EXPECT_EQ(note->sequence, 1);
      next.DropAccepted(*note);
    }
    Texts rest = {"one", "second", "three"};
    rest.erase(rest.begin(), rest.begin() + accepted);
    if (!rest.empty()) {
      EXPECT_EQ(Modified(PathOf(1)), kDate());
    }
    EXPECT_EQ(Names(), rest.empty() ? Texts{} : Texts{Name(1)});
    EXPECT_EQ(LoadFrom(next), rest) << accepted;
  }
}

TEST_F(CacheLeaseTest, ANoteAboutAnotherFileChangesNothing) {
  Put(1, contents_);
  CacheManager cache = Manager();
  RecordList records;
  ASSERT_TRUE(cache.Lease(records));
  const LeaseNote note = Accept(cache, records, 2).value_or(LeaseNote());
  cache.AbandonLease();
  CacheManager next = Manager();
  next.ScanFiles(false);
  LeaseNote other = note;
  other.checksum ^= 1;
  next.DropAccepted(other);
  other = note;
  other.sequence = 2;
  next.DropAccepted(other);
  other = note;
  other.bytes = 1 << 20;
  next.DropAccepted(other);
  next.DropAccepted(LeaseNote());
  EXPECT_EQ(Contents(1), contents_);
  {
    TavFile holder;
    ASSERT_TRUE(holder.OpenAtomic(PathText(1).c_str()));
    next.DropAccepted(note);
  }
  EXPECT_EQ(Contents(1), contents_) << "in use";
  next.DropAccepted(note);
  EXPECT_EQ(Contents(1), Chunk("three"));
}

TEST_F(CacheLeaseTest, LinesHaveNoNoteAndAreRewrittenAsChunks) {
  Put(1, "{}\n{}\n");
  CacheManager cache = Manager();
  RecordList records;
  ASSERT_TRUE(cache.Lease(records));
  EXPECT_FALSE(Accept(cache, records, 1));
  ASSERT_TRUE(records.HasOne());
  EXPECT_TRUE(cache.ReturnLease(records));
  EXPECT_EQ(Contents(1), Chunk(TextsOf(records)[0]));
}

}  // namespace
}  // namespace Tav::Testing
