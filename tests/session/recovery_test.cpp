// What a run makes of the journals in its folder, step by step.
#include "session/recovery.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "cache/cache_file_name.h"
#include "session/session_parts.h"

namespace Tav::Testing {
namespace {

constexpr int64_t kDayMs = 86'400'000;

class RecoveryTest : public SessionManagerTest {
 protected:
  RecoveryTest() : run_(config_, Wmi("1")) { std::filesystem::create_directories(Folder()); }

  static std::filesystem::path Folder() {
    const std::string folder = GetStorageDirectory(AlternateStorage());
    return std::u8string(folder.begin(), folder.end());
  }
  static std::string NewPath() {
    const std::string name = NewJournalFileName(JournalPrefix("Product", "1.0", Deployment()));
    return StorageFolder::Utf8(Folder() / name);
  }
  static std::filesystem::path ToPath(const std::string& path) {
    return std::u8string(path.begin(), path.end());
  }

  // The journal of a dead run.
  struct Dead {
    Dead() = default;
    explicit Dead(RunBlock block) : run(std::move(block)) {}
    void Add(std::string_view name, int days = 0, bool dropped = false) {
      while (log.Segments().Ready() < 2) {
        ASSERT_TRUE(log.AddRoom(file->AddSegment()));
      }
      EntryFields fields;
      fields.time.unixMilliseconds = Platform::UnixMilliseconds() - days * kDayMs;
      fields.name = name;
      std::vector<std::byte> entry(EncodeEntry(fields, {}));
      EncodeEntry(fields, entry);
      const EventLog::Position at = log.End();
      ASSERT_TRUE(log.Append(entry));
      if (dropped) {
        log.Reader().SetVerdict(log.Reader().Next(at, log.End())->begin, Verdict::Dropped);
      }
    }
    RunBlock run;
    const std::string path = NewPath();
    EventLog log;
    std::unique_ptr<JournalFile> file = JournalFile::Create(path, EncodeRunBlock(run), 1);
  };

  // Repeats steps until nothing is left; returns their number.
  int Recover() { return Recover(run_.consent); }
  int Recover(const Consent& consent) {
    Recovery recovery(config_, consent, run_.app, run_.intake, run_.builder, run_.journal,
                      run_.delivery);
    int steps = 0;
    while (recovery.Timeout() == 0 && steps < 10000) {
      recovery.Step();
      ++steps;
    }
    return steps;
  }

  // A dead run that reported nothing, of so many bytes.
  static void PutEmpty(uintmax_t size) {
    const std::string path = Dead().path;
    std::filesystem::resize_file(ToPath(path), size);
  }
  static int CountJournals() {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
      count += entry.path().filename().string().starts_with("TavJournal_") ? 1 : 0;
    }
    return count;
  }

  // Spoils the first occurrence of `text`.
  static void Damage(const std::string& path, const std::string& text) {
    std::fstream file(ToPath(path), std::ios::in | std::ios::out | std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    ASSERT_NE(bytes.find(text), std::string::npos);
    file.clear();
    file.seekp(static_cast<std::streamoff>(bytes.find(text)));
    file.put('?');
  }

  // A file of a format that this library does not know.
  static std::string PutUnknown(int days, uintmax_t size = 100) {
    const std::string path = NewPath();
    std::ofstream(ToPath(path), std::ios::binary) << std::string(64, 'x');
    std::filesystem::resize_file(ToPath(path), size);
    std::filesystem::last_write_time(ToPath(path), std::filesystem::file_time_type::clock::now() -
                                                       std::chrono::hours(24 * days));
    return path;
  }
  static bool Exists(const std::string& path) { return std::filesystem::exists(ToPath(path)); }
  int CountLines(const std::string& start) {
    int count = 0;
    for (const std::string& line : log_.Take()) {
      count += line.starts_with(start) ? 1 : 0;
    }
    return count;
  }

  SessionParts run_;
};

// Not those of the run that recovers them.
TEST_F(RecoveryTest, RecordsCarryTheIdentityOfTheDeadRun) {
  {
    RunBlock block;
    block.product = {"Other", "0.9", "wntx32"};
    block.libraryVersion = "1.2.3";
    block.endpointId = "02Xdead";
    block.customerId = "customer";
    block.userId = "user";
    block.productContext = "context";
    block.productComponentName = "component";
    block.tags["level"] = {"gold"};
    block.sessionEnvironment = JsonPtr(json_pack("{s:s}", "Theme", "Dark"));
    Dead(std::move(block)).Add("one");
  }
  Recover();
  EXPECT_TRUE(run_.Send());
  const std::string record = Gateway::Text(Gateway::RecordCount() - 1);
  const size_t events = record.find(R"("rt":[)");
  EXPECT_EQ(
      record.substr(0, events),
      R"({"pn":"Other","pv":"0.9","pp":"wntx32","sv":"1.2.3","tv":3,"ep":"02Xdead",)"
      R"("c":"customer","u":"user","px":"context","pc":"component","pt":{"level":["gold"]},)");
  EXPECT_NE(record.find(R"("se":{"Theme":"Dark"})", events), std::string::npos) << record;
}

// The queue must not wait until a large journal is read.
TEST_F(RecoveryTest, AStepPassesALimitedNumberOfEntries) {
  constexpr int kDropped = 40000;
  {
    Dead dead;
    dead.Add("first");
    for (int i = 0; i < kDropped; ++i) {
      dead.Add("dropped", 0, true);
    }
    dead.Add("last");
  }
  EXPECT_GT(Recover(), kDropped / 2500);
  EXPECT_TRUE(run_.Send());
  EXPECT_EQ(Gateway::Events(), (Names{"first", "last"}));
  EXPECT_TRUE(std::filesystem::is_empty(Folder()) || CountLines("warning") == 0);
}

// Its process may die after any step.
TEST_F(RecoveryTest, ALaterRecoveryGoesOnBehindTheStoredRecords) {
  Names names;
  {
    Dead dead;
    for (int i = 0; i < 100; ++i) {
      names.push_back("event" + std::to_string(i));
      dead.Add(names.back());
    }
  }
  run_.builder.SetMaxRecordSize(2000);
  {
    Recovery recovery(config_, run_.consent, run_.app, run_.intake, run_.builder, run_.journal,
                      run_.delivery);
    while (run_.delivery.Store().CacheSize() == 0) {
      ASSERT_EQ(recovery.Timeout(), 0);
      recovery.Step();
    }
  }
  EXPECT_EQ(CountJournals(), 1);
  EXPECT_GT(Recover(), 2);
  EXPECT_TRUE(run_.Send());
  EXPECT_EQ(Gateway::Events(), names);
}

TEST_F(RecoveryTest, TheNewestEventTellsTheAge) {
  for (const int newest : {40, 20}) {
    std::string path;
    {
      Dead dead;
      path = dead.path;
      for (int segment = 0; segment < 4; ++segment) {
        dead.Add(std::string(900'000, 'x'), segment == 2 ? newest : 50);
      }
    }
    log_.Take();
    const int steps = Recover();
    EXPECT_GT(steps, 4) << "a segment each";
    EXPECT_FALSE(Exists(path));
    EXPECT_EQ(CountLines("warning: SM: The journal '" + path + "' is too old. Deleting "),
              newest == 40 ? 1 : 0);
  }
  EXPECT_GT(run_.delivery.Store().CacheSize(), 0);
}

TEST_F(RecoveryTest, AnOptOutDeletesTheEventsOfDeadRuns) {
  std::string path;
  {
    Dead dead;
    path = dead.path;
    dead.Add("secret");
  }
  Recover(Consent(true));
  EXPECT_FALSE(Exists(path));
  EXPECT_TRUE(run_.Send());
  EXPECT_EQ(Gateway::Events(), Names{});
}

TEST_F(RecoveryTest, DamageCostsOnlyWhatItHas) {
  std::string noDescription;
  std::string noEvent;
  {
    RunBlock block;
    block.customerId = "unreadable description";
    Dead dead(std::move(block));
    noDescription = dead.path;
    dead.Add("described");
  }
  Damage(noDescription, "unreadable");
  {
    Dead dead;
    noEvent = dead.path;
    dead.Add("before");
    dead.Add("damaged");
    dead.Add("behind");
    for (int i = 0; i < 2; ++i) {  // the second one does not fit into the first segment
      dead.Add(std::string(600'000, 'x'), 0, true);
    }
    dead.Add("next segment");
  }
  Damage(noEvent, "damaged");
  Recover();
  EXPECT_FALSE(Exists(noDescription) || Exists(noEvent));
  const Names lines = log_.Take();
  const auto told = [&lines](const std::string& line) {
    return std::ranges::count_if(lines, [&](const std::string& l) { return l.starts_with(line); });
  };
  EXPECT_EQ(told("warning: SM: The description of the run in the journal '" + noDescription), 1);
  EXPECT_EQ(told("warning: SM: 1 parts of the journal '" + noEvent + "' are damaged."), 1);
  EXPECT_TRUE(run_.Send());
  Names events = Gateway::Events();
  std::ranges::sort(events);
  EXPECT_EQ(events, (Names{"before", "described", "next segment"}));
}

TEST_F(RecoveryTest, FilesOfAnUnknownFormatCountInTheBounds) {
  const std::string old = PutUnknown(40);
  const std::string held = PutUnknown(40);
  const std::string fresh = PutUnknown(20);
  Platform::MappedFile owner;
  ASSERT_EQ(owner.Open(held), Platform::OpenResult::Opened);
  Recover();
  EXPECT_FALSE(Exists(old));
  EXPECT_TRUE(Exists(held)) << "its process lives";
  EXPECT_TRUE(Exists(fresh));
  EXPECT_EQ(CountLines("warning: SM: The journal '" + old + "' is too old. Deleting 100 bytes"), 1);

  const std::string large = PutUnknown(10, uintmax_t{100} << 20);
  const std::string newer = PutUnknown(5, uintmax_t{40} << 20);
  Recover();
  EXPECT_FALSE(Exists(fresh));
  EXPECT_FALSE(Exists(large));
  EXPECT_TRUE(Exists(newer));
  EXPECT_EQ(CountLines("warning: SM: The journals of earlier runs take too much space. Deleting"),
            2);

  std::vector<std::string> many;
  for (int i = 0; i < 257; ++i) {  // with `newer` two more than may stay
    many.push_back(PutUnknown(i < 2 ? 20 : 10));
  }
  Recover();
  EXPECT_FALSE(Exists(many[0]) || Exists(many[1]));
  EXPECT_TRUE(Exists(newer) && Exists(many[2]));
}

// Else a host that is killed at each start, or whose events a setting disables, would fill the
// disk.
TEST_F(RecoveryTest, ARunThatRecoversNothingKeepsTheBoundsToo) {
  for (int i = 0; i < 20; ++i) {
    PutEmpty((uintmax_t{8} << 20) + kHeadUnit);
  }
  Platform::File lock;  // the settings cannot be read, so the run does not begin to work
  ASSERT_EQ(lock.Open(PersistentStorage::GetPSFileSpec(PersistentStorage::Document::Main).c_str(),
                      Platform::FileUse::Update),
            Platform::OpenResult::Opened);
  ASSERT_TRUE(lock.LockFirstByte());
  Start();
  EXPECT_TRUE(Eventually([] { return CountJournals() <= 16; }));
  lock.Close();
  Stop();
}

// Another process dies after this one has searched: of its cache file only the rest is sent.
TEST_F(RecoveryTest, NotesOfLaterDeadRunsCount) {
  EXPECT_TRUE(run_.Send()) << "what needs no events";
  for (const char* const name : {"one", "two", "three"}) {
    run_.Log(name);
    run_.delivery.ProcessEventList(true);
  }
  run_.finalDelivery.CacheUnsent();
  Recovery recovery(config_, run_.consent, run_.app, run_.intake, run_.builder, run_.journal,
                    run_.delivery);
  recovery.Run(-1);
  {
    CacheManager other(StorageFolder::Utf8(Folder()), CachePrefix("Product", "1.0", Deployment()));
    RecordList records;
    ASSERT_TRUE(other.Lease(records));
    ASSERT_EQ(records.Count(), 3u);
    other.Consume(records.First()->fileEnd);
    LeaseNote note;
    ASSERT_TRUE(other.MakeNote(note));
    other.AbandonLease();
    Dead().file->Head().WriteCacheNote(
        {static_cast<uint32_t>(note.sequence), static_cast<uint64_t>(note.bytes), note.checksum});
  }
  EXPECT_TRUE(run_.delivery.SendToServer());
  EXPECT_EQ(Gateway::Events(), (Names{"two", "three"}));
}

// Each attempt logs warnings.
TEST_F(RecoveryTest, AttemptsToStoreBecomeRarer) {
  {
    Dead().Add("one");
  }
  run_.delivery.Store().OpenCache(std::make_unique<CacheManager>("/nowhere", "none"), false);
  Recovery recovery(config_, run_.consent, run_.app, run_.intake, run_.builder, run_.journal,
                    run_.delivery);
  EXPECT_TRUE(Eventually([&] {
    recovery.Run(-1);
    return recovery.Timeout() > 1;
  }));
  recovery.SearchAgain();
  EXPECT_EQ(recovery.Timeout(), 0) << "for a Commit";
}

}  // namespace
}  // namespace Tav::Testing
