#include "journal/event_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/captured_log.h"

namespace Tav {
namespace {

// Mapped segments are plain memory here, which outlives the log as a file does.
class EventLogTest : public testing::Test {
 protected:
  using Memory = std::vector<uint64_t>;

  void AddRoom() {
    rooms_.push_back(std::make_unique<Memory>(kSegmentSize / sizeof(uint64_t)));
    ASSERT_TRUE(log_->AddRoom(reinterpret_cast<std::byte*>(rooms_.back()->data())));
  }

  // Appends an entry named by the next number.
  bool Append(size_t nameSize = 0) {
    std::string name = std::to_string(appended_);
    name.resize(std::max(name.size(), nameSize), ' ');
    EntryFields fields;
    fields.name = name;
    std::vector<std::byte> entry(EncodeEntry(fields, {}));
    EncodeEntry(fields, entry);
    if (!log_->Append(entry)) {
      return false;
    }
    ++appended_;
    return true;
  }

  void Fill(size_t segments) {
    for (size_t i = 0; i < segments * 15; ++i) {
      ASSERT_TRUE(Append(size_t{64} << 10));
    }
  }

  static int Number(const EntryView& view) {
    return std::stoi(std::string(view.Fields().name.substr(0, 8)));
  }

  std::vector<int> Unsettled() const {
    std::vector<int> numbers;
    EventLog::Position cursor = log_->Begin();
    const EventLog::Position end = log_->End();
    while (const std::optional<EventReader::Item> item = log_->Reader().Next(cursor, end)) {
      numbers.push_back(Number(item->view));
      cursor = item->end;
    }
    return numbers;
  }

  // The place behind entry `number`.
  EventLog::Position Behind(int number) const {
    EventLog::Position cursor = log_->Begin();
    while (const std::optional<EventReader::Item> item = log_->Reader().Next(cursor, log_->End())) {
      cursor = item->end;
      if (Number(item->view) == number) {
        break;
      }
    }
    return cursor;
  }

  // What a later process finds in the mapped segments.
  std::vector<int> Recover() const {
    std::map<uint32_t, Segment> segments;
    for (const std::unique_ptr<Memory>& room : rooms_) {
      const Segment segment(reinterpret_cast<std::byte*>(room->data()));
      if (segment.Number() != 0) {
        segments[segment.Number()] = segment;
      }
    }
    std::vector<int> numbers;
    for (const auto& [number, segment] : segments) {
      uint32_t offset = segment.Settled();
      while (const std::optional<EntryView> view = segment.At(offset)) {
        numbers.push_back(Number(*view));
        offset += static_cast<uint32_t>(view->Size());
      }
    }
    return numbers;
  }

  static std::vector<int> Range(int first, int end) {
    std::vector<int> numbers;
    for (; first < end; ++first) {
      numbers.push_back(first);
    }
    return numbers;
  }

  void Migrate() {
    while (const std::optional<EventLog::Migration> migration = log_->BeginMigration()) {
      ASSERT_TRUE(EventLog::Copy(*migration));
      log_->EndMigration(*migration);
    }
  }

  std::vector<std::unique_ptr<Memory>> rooms_;
  std::unique_ptr<EventLog> log_ = std::make_unique<EventLog>();
  int appended_ = 0;
};

TEST_F(EventLogTest, EntriesPassThroughMappedSegmentsThatAreUsedAgain) {
  AddRoom();
  AddRoom();
  int settled = 0;
  for (int round = 0; round < 10; ++round) {
    Fill(1);
    EXPECT_EQ(Unsettled(), Range(settled, appended_));
    EXPECT_EQ(Recover(), Range(settled, appended_)) << round;
    settled = appended_ - 3;
    log_->Settle(Behind(settled - 1));
    EXPECT_EQ(Unsettled(), Range(settled, appended_));
    EXPECT_EQ(Recover(), Range(settled, appended_)) << round;
  }
  log_->Settle(log_->End());
  EXPECT_TRUE(Recover().empty());
  EXPECT_EQ(log_->Segments().Ready(), 2u);
  ASSERT_TRUE(Append());
  EXPECT_EQ(Recover(), Range(appended_ - 1, appended_));
}

TEST_F(EventLogTest, MemoryServesUntilThereIsRoomAndMovesIntoIt) {
  Fill(3);
  ASSERT_TRUE(Append());
  EXPECT_EQ(Unsettled(), Range(0, appended_));
  EXPECT_TRUE(Recover().empty());
  const int inMemory = appended_;
  for (int i = 0; i < 5; ++i) {
    AddRoom();
  }
  ASSERT_TRUE(Append());
  EXPECT_EQ(Recover(), Range(inMemory, appended_));
  log_->Settle(Behind(4));
  Migrate();
  EXPECT_EQ(Recover(), Range(5, appended_));
  EXPECT_EQ(Unsettled(), Range(5, appended_));
  EXPECT_EQ(log_->Segments().Ready(), 1u);
}

// The file comes after the last event, and its first segment is never written.
TEST_F(EventLogTest, RoomThatWasNeverNeededIsNotInUse) {
  ASSERT_TRUE(Append());
  const EventLog::Position end = log_->End();
  AddRoom();
  EXPECT_FALSE(log_->Empty());
  log_->Settle(end);
  EXPECT_TRUE(log_->Empty());
  EXPECT_TRUE(Recover().empty());
  ASSERT_TRUE(Append());
  EXPECT_EQ(Unsettled(), std::vector<int>{1});
  EXPECT_EQ(Recover(), std::vector<int>{1});
}

TEST_F(EventLogTest, AnEntryLargerThanASegmentStaysInMemoryInItsOrder) {
  AddRoom();
  AddRoom();
  AddRoom();
  ASSERT_TRUE(Append());
  ASSERT_TRUE(Append(kSegmentSize + 100));
  ASSERT_TRUE(Append());
  EXPECT_EQ(Unsettled(), Range(0, 3));
  Migrate();
  EXPECT_EQ(Recover(), (std::vector<int>{0, 2}));
  log_->Settle(log_->End());
  EXPECT_EQ(log_->Segments().Ready(), 3u);
}

TEST_F(EventLogTest, AFullLogRefusesTheNewestAndCountsThem) {
  AddRoom();
  while (Append(size_t{256} << 10)) {
  }
  EXPECT_FALSE(Append(size_t{256} << 10));
  EXPECT_EQ(log_->TakeRefused(), 2u);
  EXPECT_EQ(log_->TakeRefused(), 0u);
  EXPECT_EQ(Unsettled(), Range(0, appended_));
  log_->Settle(log_->End());
  EXPECT_TRUE(Append());
}

// The segment into which a migration failed no longer counts.
TEST_F(EventLogTest, AFileThatIsGivenUpTakesNoRoomFromMemory) {
  Fill(2);
  AddRoom();  // in use at once
  AddRoom();
  ASSERT_TRUE(log_->BeginMigration());
  log_->Segments().FailTaken();
  EXPECT_TRUE(log_->Segments().FileFailed());
  log_->Settle(log_->End());
  const int before = appended_;
  while (Append(kMaxEntrySize - 100)) {
  }
  EXPECT_EQ(static_cast<size_t>(appended_ - before), SegmentPool::kMaxBytes / kSegmentSize);
}

TEST_F(EventLogTest, AVerdictIsKept) {
  AddRoom();
  ASSERT_TRUE(Append());
  ASSERT_TRUE(Append());
  const EventLog::Position second = Behind(0);
  log_->Reader().SetVerdict(second, Verdict::Dropped);
  EXPECT_EQ(log_->Reader().Next(log_->Begin(), log_->End())->view.GetVerdict(), Verdict::Open);
  EXPECT_EQ(log_->Reader().Next(second, log_->End())->view.GetVerdict(), Verdict::Dropped);
}

// A random life with kills: at any moment the mapped segments hold the entries that were appended
// to them and are not settled, in order, and nothing else.
// By a stray write of the host.
TEST_F(EventLogTest, ADamagedEntryCostsTheRestOfItsSegmentAndIsLoggedOnce) {
  Testing::CapturedLog lines;
  AddRoom();
  Fill(2);
  const auto offset = static_cast<uint32_t>(Behind(2));
  reinterpret_cast<std::byte*>(rooms_[0]->data())[offset + 100] ^= std::byte{1};
  std::vector<int> expected = Range(0, 3);
  const std::vector<int> next = Range(15, 30);
  expected.insert(expected.end(), next.begin(), next.end());
  EXPECT_EQ(Unsettled(), expected);
  EXPECT_NE(lines.Find("warning: SM: An accepted event is damaged. It and up to 1 MiB of events "
                       "after it are lost"),
            "");
  lines.Take();
  EXPECT_EQ(Unsettled(), expected);
  EXPECT_EQ(lines.Find("warning"), "");
  EXPECT_FALSE(log_->Reader().TakeReadFailure());
}

TEST_F(EventLogTest, AnyHistoryCanBeRecovered) {
  std::mt19937 random(7);
  int settled = 0;
  for (int i = 0; i < 6; ++i) {
    AddRoom();
  }
  for (int step = 0; step < 2000; ++step) {
    const int action = static_cast<int>(random() % 10);
    if (action < 6) {
      ASSERT_TRUE(Append(random() % (size_t{100} << 10)));
    } else if (action < 8 && settled < appended_) {
      settled += 1 + static_cast<int>(random() % static_cast<unsigned>(appended_ - settled));
      log_->Settle(settled == appended_ ? log_->End() : Behind(settled - 1));
    } else if (action == 8) {
      Migrate();
    }
    ASSERT_EQ(Unsettled(), Range(settled, appended_)) << step;
    const std::vector<int> found = Recover();
    ASSERT_TRUE(std::ranges::is_sorted(found)) << step;
    ASSERT_TRUE(found.empty() || found.front() >= settled) << step;
  }
  log_->Settle(log_->End());
  EXPECT_TRUE(Recover().empty());
}

}  // namespace
}  // namespace Tav
