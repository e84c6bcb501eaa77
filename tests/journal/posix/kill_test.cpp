// A process that is killed leaves what it has stored until then. These tests let a later process
// read the journal after every single store.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "journal/dead_journal.h"
#include "journal/event_log.h"
#include "journal/journal_file.h"
#include "journal/posix/store_trace.h"
#include "support/temp_folder.h"

namespace Tav {
namespace {

std::vector<std::byte> RunOf(const std::string& endpoint) {
  RunBlock run;
  run.product.name = "Editor";
  run.endpointId = endpoint;
  return EncodeRunBlock(run);
}

class JournalKillTest : public testing::Test {
 protected:
  using Numbers = std::vector<int>;

  // The start of each part of the file that is watched. All traced stores must go there.
  static constexpr size_t kWatched = 4096;

  void AddRoom() {
    std::byte* const memory = file_->AddSegment();
    ASSERT_NE(memory, nullptr);
    trace_.Watch(memory, kWatched);
    places_.push_back({memory, file_->Size() - static_cast<int64_t>(kSegmentSize)});
    ASSERT_TRUE(log_.AddRoom(memory));
  }

  // All entries have the same size, so that what an earlier use of a segment left looks like a
  // successor. Without room for it, the entry goes to memory.
  std::vector<std::byte> NextEntry(size_t padding = 0) {
    EntryFields fields;
    const std::string name = std::to_string(10000 + appended_++);
    const std::string pad(padding, 'x');
    fields.name = name;
    fields.componentName = pad;
    fields.componentVersion = "0123456789012345678901234567890123456789";
    std::vector<std::byte> entry(EncodeEntry(fields, {}));
    EncodeEntry(fields, entry);
    return entry;
  }

  void Append() {
    const std::vector<std::byte> entry = NextEntry();
    Numbers after = inFile_;
    after.push_back(appended_ - 1);
    Check("append " + std::to_string(appended_ - 1), after, [&] { log_.Append(entry); });
  }
  // An entry that, behind three others, leaves no room in its segment.
  void FillSegment() {
    ASSERT_TRUE(log_.Append(NextEntry(kMaxEntrySize - 360)));
    inFile_.push_back(appended_ - 1);
  }
  void AppendToMemory() {
    ASSERT_TRUE(log_.Append(NextEntry()));
    inMemory_.push_back(appended_ - 1);
  }
  // Where the entry begins; the end of the log if there is none.
  EventLog::Position PlaceOf(int number) {
    EventLog::Position at = log_.Begin();
    while (const std::optional<EventReader::Item> item = log_.Reader().Next(at, log_.End())) {
      if (NumberOf(item->view) == number) {
        return item->begin;
      }
      at = item->end;
    }
    return log_.End();
  }
  // Settles all entries before `number`.
  void SettleBefore(int number) {
    const EventLog::Position end = PlaceOf(number);
    Numbers after = inFile_;
    std::erase_if(after, [&](int each) { return each < number; });
    std::erase_if(inMemory_, [&](int each) { return each < number; });
    Check("settle before " + std::to_string(number), after, [&] { log_.Settle(end); });
  }
  void Drop(int number) {
    Numbers after = inFile_;
    std::erase(after, number);
    const EventLog::Position at = PlaceOf(number);
    Check("drop " + std::to_string(number), after,
          [&] { log_.Reader().SetVerdict(at, Verdict::Dropped); });
  }
  void Migrate() {
    const std::optional<EventLog::Migration> migration = log_.BeginMigration();
    ASSERT_TRUE(migration);
    Numbers after = inFile_;
    after.insert(after.end(), inMemory_.begin(), inMemory_.end());
    std::ranges::sort(after);
    inMemory_.clear();
    Check("migrate", after, [&] { EXPECT_TRUE(EventLog::Copy(*migration)); });
    log_.EndMigration(*migration);
  }

  static int NumberOf(const EntryView& view) {
    return std::stoi(std::string(view.Fields().name)) - 10000;
  }

  // What a later process finds in the copy.
  Numbers Recover() const {
    std::unique_ptr<JournalFile> file;
    EXPECT_EQ(JournalFile::Take(copy_, file), JournalFile::Lease::Taken);
    Numbers found;
    if (file != nullptr) {
      DeadJournal journal(std::move(file));
      while (const std::optional<DeadJournal::Item> item = journal.Next()) {
        if (!item->settled && item->view.GetVerdict() == Verdict::Open) {
          found.push_back(NumberOf(item->view));
        }
      }
      EXPECT_EQ(journal.DamagedSegments(), 0);
    }
    return found;
  }

  // Settling may take several stores; each settles some more of the oldest.
  static bool IsBetween(const Numbers& found, const Numbers& before, const Numbers& after) {
    return found.size() <= before.size() && after.size() <= found.size() &&
           std::equal(found.rbegin(), found.rend(), before.rbegin()) &&
           std::equal(after.rbegin(), after.rend(), found.rbegin());
  }

  void Check(const std::string& what, const Numbers& after, const std::function<void()>& step) {
    SCOPED_TRACE(what);
    Replay(step, [&] {
      const Numbers found = Recover();
      EXPECT_TRUE(found == inFile_ || found == after || IsBetween(found, inFile_, after))
          << testing::PrintToString(found) << " is neither " << testing::PrintToString(inFile_)
          << " nor " << testing::PrintToString(after);
    });
    inFile_ = after;
    EXPECT_EQ(Recover(), after);
  }

  // Runs the step; calls `look` for the copy of the file after each store.
  void Replay(const std::function<void()>& step, const std::function<void()>& look) {
    using std::filesystem::copy_options;
    std::filesystem::copy_file(path_, copy_, copy_options::overwrite_existing);
    const std::vector<Testing::StoreTrace::Word>& words = trace_.Run(step);
    const int copy = open(copy_.c_str(), O_WRONLY | O_CLOEXEC);
    for (size_t i = 0; i < words.size() && !HasFailure(); ++i) {
      const int64_t offset = OffsetOf(words[i].at);
      EXPECT_EQ(pwrite(copy, &words[i].value, sizeof words[i].value, offset), 8);
      if (i + 1 == words.size() || words[i + 1].instruction != words[i].instruction) {
        look();
        ++kills_;
      }
    }
    close(copy);
    EXPECT_TRUE(EqualFiles()) << "a store was not traced";
  }

  bool EqualFiles() const {
    std::vector<char> contents[2];
    for (const std::string& path : {path_, copy_}) {
      std::vector<char>& each = contents[path == copy_ ? 1 : 0];
      each.resize(std::filesystem::file_size(path));
      std::ifstream(path, std::ios::binary).read(each.data(), std::ssize(each));
    }
    return contents[0] == contents[1];
  }

  int64_t OffsetOf(const uint64_t* word) const {
    const auto* const at = reinterpret_cast<const std::byte*>(word);
    for (const Place& place : places_) {
      if (at >= place.memory && at < place.memory + kSegmentSize) {
        return place.offset + (at - place.memory);
      }
    }
    ADD_FAILURE();
    return 0;
  }

  struct Place {
    std::byte* memory;
    int64_t offset;  // in the file
  };

  const Testing::TempFolder folder_;
  const std::string path_ = folder_.Path("journal");
  const std::string copy_ = folder_.Path("copy");
  Testing::StoreTrace trace_;
  const std::unique_ptr<JournalFile> file_ = JournalFile::Create(path_, RunOf(""), 1000);
  std::vector<Place> places_;
  EventLog log_;
  int appended_ = 0;
  int kills_ = 0;
  Numbers inFile_;    // not settled
  Numbers inMemory_;  // the same
};

TEST_F(JournalKillTest, FindsWhatWasReturnedAndIsNotSettled) {
  AddRoom();
  AddRoom();
  for (int round = 0; round < 3; ++round) {  // the second and third use the segments again
    SCOPED_TRACE(round);
    const int first = appended_;
    Append();
    Append();
    Append();
    Drop(first + 1);
    SettleBefore(first + 1);
    FillSegment();  // of the first segment
    SettleBefore(first + 2);
    Append();  // begins the second segment
    Append();
    SettleBefore(appended_ - 1);  // in one step
    SettleBefore(appended_);
  }
  EXPECT_GT(kills_, 10);
}

TEST_F(JournalKillTest, MovesMemoryToTheFileAsAWhole) {
  AppendToMemory();
  AppendToMemory();
  AppendToMemory();
  SettleBefore(1);
  AddRoom();  // hosts go on here
  Append();
  AddRoom();
  Migrate();
  SettleBefore(2);
  SettleBefore(appended_);
  EXPECT_GT(kills_, 10);
}

// Two slots take turns, so that one of them is always whole.
TEST(JournalHeadKillTest, ItsTextsAreReplacedAsAWhole) {
  std::vector<uint64_t> memory(kHeadUnit / sizeof(uint64_t));
  JournalHead head = JournalHead::Create(std::as_writable_bytes(std::span(memory)), 1000);
  head.WriteRunBlock(RunOf("0"));
  head.WriteCacheNote({1, 0, 0});
  std::vector<uint64_t> copy = memory;
  Testing::StoreTrace trace;
  trace.Watch(reinterpret_cast<std::byte*>(memory.data()), kHeadUnit);
  int kills = 0;
  for (uint64_t round = 1; round < 4; ++round) {
    const std::vector<std::byte> run = RunOf(std::to_string(round));
    const std::vector<Testing::StoreTrace::Word>& words = trace.Run([&] {
      head.WriteRunBlock(run);
      head.WriteCacheNote({1, round, round});
    });
    std::optional<RunBlock> found;
    std::optional<CacheNote> note;
    for (const Testing::StoreTrace::Word& word : words) {
      copy[static_cast<size_t>(word.at - memory.data())] = word.value;
      const auto recovered = JournalHead::Read(std::as_writable_bytes(std::span(copy)));
      found = DecodeRunBlock(recovered->RunBlockBytes());
      note = recovered->ReadCacheNote();
      ASSERT_TRUE(found && note);
      EXPECT_EQ(std::clamp<uint64_t>(std::stoul(found->endpointId), round - 1, round),
                std::stoul(found->endpointId));
      EXPECT_EQ(note->acceptedBytes, note->checksum);
      EXPECT_GE(note->acceptedBytes, round - 1);
      ++kills;
    }
    EXPECT_EQ(copy, memory) << "a store was not traced";
    EXPECT_EQ(found->endpointId, std::to_string(round));
    EXPECT_EQ(note->acceptedBytes, round);
  }
  EXPECT_GT(kills, 20);
}

}  // namespace
}  // namespace Tav
