#include "journal/journal_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <thread>

#include "journal_fixture.h"
#include "platform/lost_pages.h"
#include "support/replaced_new.h"

namespace Tav {
namespace {

using JournalFileTest = Testing::JournalFixture;

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

TEST(JournalFileNameTest, BelongsToOnePrefix) {
  const std::string name = NewJournalFileName("TavJournal_9A80ECF5_");
  EXPECT_TRUE(IsJournalFileName("TavJournal_9A80ECF5_", name));
  EXPECT_NE(name, NewJournalFileName("TavJournal_9A80ECF5_"));
  EXPECT_FALSE(IsJournalFileName("TavJournal_9A80ECF6_", name));
  EXPECT_FALSE(IsJournalFileName("TavJournal_9A80ECF5_", name + "0"));
  EXPECT_FALSE(IsJournalFileName("TavJournal_9A80ECF5_", "TavJournal_9A80ECF5_0123456789abcdeX"));
}

#if TAV_REPLACES_NEW
// Otherwise the session thread would lose what it has taken from the queue.
TEST_F(JournalFileTest, WithoutMemoryNoSegmentIsAdded) {
  AddRoom(1);
  Testing::onAllocation = [](size_t) { throw std::bad_alloc(); };
  const std::byte* const segment = file_->AddSegment();
  const int reason = errno;
  Testing::onAllocation = nullptr;
  EXPECT_EQ(segment, nullptr);
  EXPECT_EQ(reason, ENOMEM);
  AddRoom(1);
  Append("a", 1000000);
  Append("b", 1000000);
  Die();
  EXPECT_EQ(Unsettled(*Take()), (Names{"a", "b"}));
}
#endif

}  // namespace
}  // namespace Tav
