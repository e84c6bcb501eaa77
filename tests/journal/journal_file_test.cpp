#include "journal/journal_file.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "journal/event_log.h"
#include "platform/lost_pages.h"
#include "support/temp_folder.h"

namespace Tav {
namespace {

class JournalFileTest : public testing::Test {
 protected:
  using Names = std::vector<std::string>;

  void SetUp() override {
    RunBlock run;
    run.product.name = "Editor";
    file_ = JournalFile::Create(path_, EncodeRunBlock(run), 1000);
    ASSERT_NE(file_, nullptr);
  }

  void AddRoom(size_t count) {
    for (size_t i = 0; i < count; ++i) {
      std::byte* const memory = file_->AddSegment();
      ASSERT_NE(memory, nullptr);
      ASSERT_TRUE(log_->AddRoom(memory));
      segments_.push_back(memory);
    }
  }

  void Append(const std::string& name, size_t size = 0) {
    const std::string padding(size, 'x');
    EntryFields fields;
    fields.time.unixMilliseconds = 5000;
    fields.name = name;
    fields.componentName = padding;
    std::vector<std::byte> entry(EncodeEntry(fields, {}));
    EncodeEntry(fields, entry);
    ASSERT_TRUE(log_->Append(entry));
  }

  Names Unsettled() {
    Names names;
    EventLog::Position at = log_->Begin();
    while (const std::optional<EventReader::Item> item = log_->Reader().Next(at, log_->End())) {
      names.emplace_back(item->view.Fields().name);
      at = item->end;
    }
    return names;
  }

  // The end of the run, without a last word.
  void Die() {
    log_.reset();
    file_.reset();
  }

  std::unique_ptr<DeadJournal> Take() const {
    std::unique_ptr<JournalFile> file;
    const JournalFile::Lease lease = JournalFile::Take(path_, file);
    EXPECT_EQ(lease, JournalFile::Lease::Taken);
    return lease == JournalFile::Lease::Taken ? std::make_unique<DeadJournal>(std::move(file))
                                              : nullptr;
  }

  static Names Unsettled(DeadJournal& journal) {
    Names names;
    while (const std::optional<DeadJournal::Item> item = journal.Next()) {
      if (!item->settled) {
        names.emplace_back(item->view.Fields().name);
      }
    }
    return names;
  }

  const Testing::TempFolder folder_;
  const std::string path_ = folder_.Path("journal");
  std::unique_ptr<JournalFile> file_;
  std::vector<std::byte*> segments_;
  std::unique_ptr<EventLog> log_ = std::make_unique<EventLog>();
};

TEST_F(JournalFileTest, ALaterProcessFindsWhatADeadOneLeft) {
  AddRoom(2);
  Append("a", 600000);
  Append("b", 600000);
  Append("c");
  log_->Settle(log_->Reader().Next(log_->Begin(), log_->End())->end);
  Die();
  const std::unique_ptr<DeadJournal> journal = Take();
  ASSERT_NE(journal, nullptr);
  ASSERT_TRUE(journal->Run());
  EXPECT_EQ(journal->Run()->product.name, "Editor");
  EXPECT_EQ(journal->StartTime(), 1000);
  EXPECT_EQ(journal->NewestTime(0), 5000);
  EXPECT_EQ(journal->SegmentCount(), 1u);
  EXPECT_EQ(Unsettled(*journal), (Names{"b", "c"}));
  EXPECT_EQ(journal->DamagedSegments(), 0);
}

// What one recovery has stored elsewhere the next one must not find again.
TEST_F(JournalFileTest, RecoveryGoesOnWhereAnEarlierOneDied) {
  AddRoom(3);
  for (const char* const name : {"a", "b", "c"}) {
    Append(name, 700000);
  }
  Append("d");
  Die();
  for (const char* const name : {"a", "b", "c", "d"}) {
    const std::unique_ptr<DeadJournal> journal = Take();
    ASSERT_NE(journal, nullptr);
    std::optional<DeadJournal::Item> item = journal->Next();
    while (item && item->settled) {
      item = journal->Next();
    }
    ASSERT_TRUE(item);
    EXPECT_EQ(item->view.Fields().name, name);
    journal->Settle(*item);
  }
  const std::unique_ptr<DeadJournal> journal = Take();
  EXPECT_TRUE(Unsettled(*journal).empty());
  EXPECT_TRUE(journal->Remove());
  EXPECT_FALSE(std::filesystem::exists(folder_.Root() / "journal"));
}

// What a full disk leaves of an attempt is used by the next one.
TEST_F(JournalFileTest, APartialExtensionIsCompleted) {
  AddRoom(1);
  std::error_code ignored;  // Windows lets nobody else write
  std::filesystem::resize_file(folder_.Root() / "journal",
                               static_cast<uintmax_t>(file_->Size()) + 65536, ignored);
  AddRoom(1);
  Append("a", 1000000);
  Append("b", 1000000);
  Die();
  EXPECT_EQ(Unsettled(*Take()), (Names{"a", "b"}));
}

TEST_F(JournalFileTest, TheFileOfALivingProcessIsLeftAlone) {
  AddRoom(1);
  Append("a");
  std::unique_ptr<JournalFile> other;
  EXPECT_EQ(JournalFile::Take(path_, other), JournalFile::Lease::InUse);
  EXPECT_EQ(JournalFile::Create(path_, {}, 0), nullptr);
  EXPECT_EQ(JournalFile::Take(folder_.Path("missing"), other), JournalFile::Lease::Missing);
  Die();
  EXPECT_EQ(Unsettled(*Take()), Names{"a"});
}

TEST_F(JournalFileTest, FilesThatAreNoJournalStay) {
  std::unique_ptr<JournalFile> file;
  for (const std::string& contents :
       {std::string(10, 'x'), std::string(1 << 18, 'x'), std::string(1 << 20, '\0')}) {
    folder_.Put("other", contents);
    EXPECT_EQ(JournalFile::Take(folder_.Path("other"), file), JournalFile::Lease::Unknown);
    file.reset();
    EXPECT_TRUE(folder_.Contents("other") == contents);
  }
}

// A crash while the file was created leaves it without a head.
TEST_F(JournalFileTest, AFileThatNobodyFinishedIsDeleted) {
  std::unique_ptr<JournalFile> file;
  for (const size_t size : {size_t{0}, size_t{10}, size_t{1} << 16}) {
    folder_.Put("other", std::string(size, '\0'));
    EXPECT_EQ(JournalFile::Take(folder_.Path("other"), file), JournalFile::Lease::Missing);
    EXPECT_FALSE(std::filesystem::exists(folder_.Root() / "other"));
  }
}

// A file that a full disk or a crash of the system cut short.
TEST_F(JournalFileTest, WhatIsWholeInATruncatedFileIsFound) {
  AddRoom(2);
  Append("a", 700000);
  Append("b", 700000);
  Die();
  const std::filesystem::path path = folder_.Root() / "journal";
  // The segment that was added last is used first, so that "a" is in the second one.
  std::filesystem::resize_file(path, std::filesystem::file_size(path) - 100);
  EXPECT_EQ(Unsettled(*Take()), (Names{"a", "b"}));
  std::filesystem::resize_file(path, std::filesystem::file_size(path) - 500000);
  const std::unique_ptr<DeadJournal> journal = Take();
  EXPECT_EQ(Unsettled(*journal), Names{"b"});
  EXPECT_EQ(journal->DamagedSegments(), 1);
}

TEST_F(JournalFileTest, ADamagedEntryEndsItsSegmentOnly) {
  AddRoom(2);
  Append("a", 400000);
  Append("b", 400000);
  Append("c", 400000);
  Die();
  std::string contents = folder_.Contents("journal");
  // In the padding of the second entry; the third is in the second segment.
  const size_t second = contents.find(
      "\x01"
      "b");
  ASSERT_NE(second, std::string::npos);
  contents[second + 100] ^= 1;
  folder_.Put("journal", contents);
  const std::unique_ptr<DeadJournal> journal = Take();
  EXPECT_EQ(Unsettled(*journal), (Names{"a", "c"}));
  EXPECT_EQ(journal->DamagedSegments(), 1);
}

// The disk is gone: a page that was not in memory cannot be loaded.
TEST_F(JournalFileTest, WhatTheFileCannotTakeGoesToMemory) {
  TAV_NEEDS_GUARDED_COPIES();
  AddRoom(2);
  Append("a");
  Append("b", 500000);
  {
    // Half of the second entry after this one would fit.
    const Testing::LostPages lost(segments_[1] + 700 * 1024, kSegmentSize - 700 * 1024);
    std::thread host([this] {
      Append("c", 400000);
      Append("d");
    });
    host.join();
    EXPECT_TRUE(log_->Segments().FileFailed());
    EXPECT_TRUE(log_->InMemory());
    EXPECT_FALSE(log_->Segments().MayGrow());
    EXPECT_EQ(Unsettled(), (Names{"a", "b", "c", "d"}));
  }
  EXPECT_FALSE(log_->Reader().TakeReadFailure());
  log_->Settle(log_->Reader().Next(log_->Begin(), log_->End())->end);
  EXPECT_EQ(log_->Segments().Ready(), 0u);
  Append("e");
  EXPECT_EQ(Unsettled(), (Names{"b", "c", "d", "e"}));
  log_->Settle(log_->End());
  EXPECT_TRUE(Unsettled().empty());
}

TEST_F(JournalFileTest, ALostPageCostsOnlyWhatItHolds) {
  TAV_NEEDS_GUARDED_COPIES();
  AddRoom(2);
  Append("a", 300000);
  Append("b", 300000);
  {
    const Testing::LostPages lost(segments_[1] + 400 * 1024, kSegmentSize - 400 * 1024);
    Append("c", 600000);
    EXPECT_EQ(Unsettled(), (Names{"a", "c"}));
    EXPECT_TRUE(log_->Reader().TakeReadFailure());
    EXPECT_FALSE(log_->Reader().TakeReadFailure());
  }
  // A segment whose first word is lost.
  const Testing::LostPages lost(segments_[1], kSegmentSize);
  Append("d");
  EXPECT_EQ(Unsettled(), (Names{"c", "d"}));
  log_->Settle(log_->End());
  EXPECT_TRUE(Unsettled().empty());
}

// It may be readable again, so nothing of it is given up.
TEST_F(JournalFileTest, ADeadJournalOnALostDiskIsNotDamaged) {
  TAV_NEEDS_GUARDED_COPIES();
  AddRoom(1);
  Append("a");
  Append("b", 500000);
  Die();
  std::unique_ptr<JournalFile> file;
  ASSERT_EQ(JournalFile::Take(path_, file), JournalFile::Lease::Taken);
  std::byte* const segment = file->Segments().front().Memory();
  {
    DeadJournal journal(std::move(file));
    const Testing::LostPages lost(segment + 4096, kSegmentSize - 4096);
    EXPECT_EQ(Unsettled(journal), Names{"a"});
    EXPECT_EQ(journal.DamagedSegments(), 0);
    EXPECT_TRUE(journal.Unreadable());
  }
  EXPECT_EQ(Unsettled(*Take()), (Names{"a", "b"}));
}

TEST(JournalFileNameTest, BelongsToOnePrefix) {
  const std::string name = NewJournalFileName("TavJournal_9A80ECF5_");
  EXPECT_TRUE(IsJournalFileName("TavJournal_9A80ECF5_", name));
  EXPECT_NE(name, NewJournalFileName("TavJournal_9A80ECF5_"));
  EXPECT_FALSE(IsJournalFileName("TavJournal_9A80ECF6_", name));
  EXPECT_FALSE(IsJournalFileName("TavJournal_9A80ECF5_", name + "0"));
  EXPECT_FALSE(IsJournalFileName("TavJournal_9A80ECF5_", "TavJournal_9A80ECF5_0123456789abcdeX"));
}

}  // namespace
}  // namespace Tav
