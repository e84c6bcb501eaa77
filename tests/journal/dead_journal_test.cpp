#include "journal/dead_journal.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "journal_fixture.h"
#include "platform/lost_pages.h"

namespace Tav {
namespace {

using DeadJournalTest = Testing::JournalFixture;

TEST_F(DeadJournalTest, ALaterProcessFindsWhatADeadOneLeft) {
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
TEST_F(DeadJournalTest, RecoveryGoesOnWhereAnEarlierOneDied) {
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

// A file that a full disk or a crash of the system cut short.
TEST_F(DeadJournalTest, WhatIsWholeInATruncatedFileIsFound) {
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

TEST_F(DeadJournalTest, ADamagedEntryEndsItsSegmentOnly) {
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

// It may be readable again, so nothing of it is given up.
TEST_F(DeadJournalTest, ADeadJournalOnALostDiskIsNotDamaged) {
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

}  // namespace
}  // namespace Tav
