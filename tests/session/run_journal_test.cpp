// The disk of the journal is gone while the process goes on.
#include "session/run_journal.h"

#include <algorithm>
#include <filesystem>
#include <thread>
#include <vector>

#include "platform/lost_pages.h"
#include "session/session_parts.h"

namespace Tav::Testing {
namespace {

class RunJournalTest : public SessionManagerTest {
 protected:
  RunJournalTest() { journal_.Open(StorageFolder::Utf8(folder_.Path("")), "TavJournal_1_", {}); }

  // All mapped segments, none of which is in use yet.
  std::vector<std::byte*> Segments() {
    std::vector<std::byte*> segments;
    queue_.WithLog([&](EventLog& log) {
      while (std::byte* const segment = log.Segments().Remove()) {
        segments.push_back(segment);
      }
      for (std::byte* const segment : segments) {
        EXPECT_TRUE(log.AddRoom(segment));
      }
    });
    return segments;
  }
  void Report(std::string_view name) {
    std::thread host([&] {
      TavEvent_s* const event = Event(name);
      EXPECT_TRUE(queue_.AddEvent(EncodedEvent(*event).Bytes()));
      FreeHandle(event);
    });
    host.join();
  }
  Names Taken() {
    Names names;
    const EventLog::Position end = queue_.TakeWork(0).end;
    EventLog::Position at = 0;
    while (const auto item = queue_.Reader().Next(at, end)) {
      names.emplace_back(item->view.Fields().name);
      at = item->end;
    }
    return names;
  }
  std::ptrdiff_t Warnings() {
    const Names lines = log_.Take();
    return std::ranges::count_if(lines, [](const auto& l) { return l.starts_with("warning: "); });
  }

  SessionParts::NoThread thread_;
  WorkQueue queue_{thread_};
  RunJournal journal_{queue_};
};

TEST_F(RunJournalTest, HostsGoOnInMemoryAndOneLineTells) {
  TAV_NEEDS_GUARDED_COPIES();
  ASSERT_TRUE(journal_.HasFile());
  const std::vector<std::byte*> segments = Segments();
  ASSERT_GE(segments.size(), 8u);
  Report("before");
  {
    std::vector<std::unique_ptr<LostPages>> lost;
    for (std::byte* const segment : segments) {
      lost.push_back(std::make_unique<LostPages>(segment + 4096, kSegmentSize - 4096));
    }
    Report(std::string(5000, 'x'));  // reaches the second page
    Report("after");
    journal_.Refill();
    journal_.Refill();
    journal_.Shrink();
    EXPECT_EQ(Warnings(), 1);
    EXPECT_FALSE(journal_.HasFile()) << "the end of the run must not rely on it";
    const Names names = Taken();
    ASSERT_EQ(names.size(), 3u);
    EXPECT_EQ(names.front(), "before");
    EXPECT_EQ(names.back(), "after");
  }
  {
    std::vector<std::unique_ptr<LostPages>> lost;
    for (std::byte* const segment : segments) {
      lost.push_back(std::make_unique<LostPages>(segment, kSegmentSize));
    }
    Report("later");
    EXPECT_EQ(Taken().size(), 3u) << "the first one cannot be read";
    journal_.Settle(queue_.WithLog([](const EventLog& log) { return log.End(); }));
    journal_.Refill();
    EXPECT_EQ(Warnings(), 1) << "that events are lost";
  }
  journal_.Close();
}

// A cache file of which a part was accepted could not be rewritten.
TEST_F(RunJournalTest, TheFileStaysAtTheEndWhileItsNoteIsNeeded) {
  for (const int64_t acceptedBytes : {10, 0}) {
    RunJournal journal(queue_);
    journal.Open(StorageFolder::Utf8(folder_.Path("")), "TavJournal_2_", {});
    const std::filesystem::path path = folder_.Path(journal.FileName().c_str());
    ASSERT_TRUE(journal.HasFile());
    journal.Accepted({1, 20, 3});
    journal.Accepted({1, acceptedBytes, 3});
    journal.Close();
    EXPECT_EQ(std::filesystem::exists(path), acceptedBytes > 0);
  }
}

// With entries of seven properties, and before the session thread can add room.
TEST_F(RunJournalTest, WhateverWaitsThereIsRoomForABurstOf20000Events) {
  ASSERT_TRUE(journal_.HasFile());
  EntryFields fields;
  const std::vector<std::byte> properties(190, std::byte{0});
  fields.name = "event";
  fields.properties = properties;
  std::vector<std::byte> entry(EncodeEntry(fields, {}));
  EncodeEntry(fields, entry);
  EXPECT_GE(entry.size(), 230u);
  const size_t inSegment = kMaxEntrySize / entry.size();
  for (size_t i = 0; i < 6 * inSegment; ++i) {
    ASSERT_TRUE(queue_.AddEvent(entry));
    if (i % 1000 == 0) {
      journal_.Refill();
    }
  }
  journal_.Refill();
  for (int i = 0; i < 20000; ++i) {
    ASSERT_TRUE(queue_.AddEvent(entry));
  }
  EXPECT_FALSE(queue_.WithLog([](const EventLog& log) { return log.InMemory(); }));
}

// The end of a run whose records can neither be sent nor stored, with one event in each record.
class LastRecordsTest : public SessionManagerTest {
 protected:
  LastRecordsTest() {
    EXPECT_TRUE(run_.Send()) << "what needs no events";
    Gateway::refuse = true;
    run_.builder.SetMaxRecordSize(1);
  }
  ~LastRecordsTest() override { ConfigureLogger(nullptr, nullptr, false); }

  void Log(std::string_view name) {
    run_.Log(name);
    run_.delivery.ProcessEventList(true);
  }
  bool Warned(const std::string& line) const { return log_.Find("warning: " + line) != ""; }

  // A disk that takes longer than the end of the run may.
  static void StoreSlowly(const char* line) {
    CapturedLog::Receive(line);
    if (std::string_view(line) == "SM: Flushing records to cache") {
      Platform::SleepMilliseconds(600);
    }
  }

  SessionParts run_{config_, Wmi("1")};
};

TEST_F(LastRecordsTest, EventsInAJournalThatWasGivenUpAreNotLost) {
  run_.journal.Open(StorageFolder::Utf8(folder_.Path("")), "TavJournal_1_", {});
  run_.delivery.Store().OpenCache(std::make_unique<CacheManager>("/nowhere", "none"), false);
  Log("in the file");
  run_.queue.WithLog([](EventLog& log) { log.Segments().FailFile(); });
  run_.journal.Refill();
  ASSERT_FALSE(run_.journal.HasFile());
  Log("in memory");
  run_.finalDelivery.CacheUnsent();
  run_.finalDelivery.ReportLost();
  EXPECT_EQ(run_.delivery.Store().FindUnprotected().count, 1) << "the second one";
  EXPECT_TRUE(Warned("SM: 1 records ("));
  run_.journal.Close();
  EXPECT_TRUE(std::filesystem::exists(folder_.Path(run_.journal.FileName().c_str())));
}

TEST_F(LastRecordsTest, WithoutAJournalTheEndIsBoundedAndTellsOfALoss) {
  Limits limits;
  limits.maxMemorySize = 1;  // each flush stores a record
  run_.delivery.SetLimits(limits);
  for (const char* const name : {"one", "two", "three"}) {
    run_.Log(name);
  }
  ConfigureLogger(StoreSlowly, nullptr, true);
  Internal::logThreshold = static_cast<int>(LogLevel::Trace);
  run_.finalDelivery.CacheUnsent();
  EXPECT_EQ(run_.delivery.Store().InMemory().Count(), 0u);
  EXPECT_EQ(run_.delivery.Batch().Pending().Count(), 2);
  run_.finalDelivery.ReportLost();
  EXPECT_TRUE(Warned("SM: 2 events could be neither sent nor stored and are lost"));
}

}  // namespace
}  // namespace Tav::Testing
