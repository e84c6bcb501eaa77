// What becomes of a cache file while its records are sent: see also cache_lease_test.cpp.
#include "session/record_store.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "cache/cache_file_name.h"
#include "session/session_parts.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "support/records.h"

namespace Tav {
namespace {

using Testing::Gateway;
using Testing::Names;
using Testing::SessionParts;
using Testing::Wmi;

struct LatestNote : LeaseLog {
  void Accepted(const LeaseNote& accepted) override {
    note = accepted;
    ++count;
  }
  LeaseNote note;
  int count = 0;
};

class RecordStoreTest : public Testing::SessionManagerTest {
 protected:
  static std::string Name(int sequence) {
    return CacheFileName(CachePrefix("Product", "1.0", Deployment()), sequence);
  }
  std::string Contents(int sequence) const { return folder_.Contents(Name(sequence).c_str()); }
  // Also of a file that is open elsewhere.
  int64_t Size(int sequence) const {
    return static_cast<int64_t>(std::filesystem::file_size(folder_.Path(Name(sequence).c_str())));
  }
  bool Cached(int sequence) const {
    return std::filesystem::exists(folder_.Path(Name(sequence).c_str()));
  }

  // As many runs as names, each of which leaves one record with one event in cache file 1.
  void Leave(const Names& events) {
    config_.noImpliedRecords = true;
    Run({});  // sends the product environment, which would be in the way
    Gateway::refuse = true;
    for (const std::string& name : events) {
      Run({name});
    }
    ASSERT_TRUE(Cached(1));
    ASSERT_FALSE(Cached(2));
    Gateway::refuse = false;
  }
  // Accepts this number of records from now on.
  static void Take(size_t records) { Gateway::capacity = Gateway::RecordCount() + records; }
  static void TakeAll() { Gateway::capacity = SIZE_MAX; }
};

TEST_F(RecordStoreTest, AFileAcceptedInPartIsKeptInMemoryAndOnDiskUntilTheNextAttempt) {
  Leave({"one", "two", "three"});
  const int64_t whole = Size(1);
  SessionParts run(config_, Wmi("1"));
  Take(1);
  EXPECT_FALSE(run.Send());
  EXPECT_EQ(Size(1), whole);
  EXPECT_EQ(run.delivery.Store().CacheSize(), whole);
  EXPECT_EQ(run.delivery.Queue().Backlog().memory, 0) << "counted once";
  run.Log("new");
  run.delivery.ProcessEventList(true);
  Take(2);
  EXPECT_FALSE(run.delivery.SendToServer());
  EXPECT_FALSE(Cached(1)) << "its last record was accepted";
  TakeAll();
  EXPECT_TRUE(run.delivery.SendToServer());
  EXPECT_EQ(Gateway::Events(), (Names{"one", "two", "three", "new"})) << "oldest first";
}

TEST_F(RecordStoreTest, TheEndOfARunLeavesWhatWasNotAccepted) {
  Leave({"one", "two", "three"});
  const std::string whole = Contents(1);
  const auto path = folder_.Path(Name(1).c_str());
  const auto date = std::filesystem::last_write_time(path) - std::chrono::hours(100);
  std::filesystem::last_write_time(path, date);
  for (const size_t accepted : {0u, 1u}) {
    SessionParts run(config_, Wmi("1"));
    // The first record is the only one that is taken: what is sent before the next is the cache.
    Take(accepted);
    EXPECT_FALSE(run.Send());
    run.finalDelivery.CacheUnsent();
    EXPECT_TRUE(run.delivery.Store().NothingInMemory());
    EXPECT_EQ(Contents(1) == whole, accepted == 0);
    EXPECT_TRUE(whole.ends_with(Contents(1)));
    EXPECT_LT(std::filesystem::last_write_time(path), date + std::chrono::seconds(2));
    EXPECT_FALSE(Cached(2));
  }
  SessionParts next(config_, Wmi("1"));
  next.Log("new");
  next.Flush();
  TakeAll();
  EXPECT_TRUE(next.Send());
  EXPECT_EQ(Gateway::Events(), (Names{"one", "two", "three", "new"}));
}

TEST_F(RecordStoreTest, AFlushWritesTheRecordsOfTheRunBehindThoseOfTheFile) {
  Leave({"one", "two"});
  SessionParts run(config_, Wmi("1"));
  Take(1);
  EXPECT_FALSE(run.Send());
  run.Log("new");
  run.Flush();
  EXPECT_TRUE(run.delivery.Store().NothingInMemory());
  TakeAll();
  EXPECT_TRUE(run.Send());
  EXPECT_EQ(Gateway::Events(), (Names{"one", "two", "new"}));
}

TEST_F(RecordStoreTest, TheMemoryBoundDropsNoRecordOfAFile) {
  Leave({"one", "two"});
  SessionParts run(config_, Wmi("1"));
  RecordStore& store = run.delivery.Store();
  Take(1);
  EXPECT_FALSE(run.Send());
  store.SetMaxMemory(0);
  store.BoundMemory();
  EXPECT_TRUE(store.NothingInMemory());
  EXPECT_EQ(log_.Find("warning: SM: Memory bound"), "");
  TakeAll();
  EXPECT_TRUE(run.Send());
  EXPECT_EQ(Gateway::Events(), (Names{"one", "two"}));
}

TEST_F(RecordStoreTest, APulledRecordLeavesItsFileToo) {
  Leave({"one", "two"});
  SessionParts run(config_, Wmi("1"));
  RecordStore& store = run.delivery.Store();
  const std::string whole = Contents(1);
  ASSERT_NE(store.Oldest(), nullptr);
  EXPECT_FALSE(store.HasOne());
  store.RemovePulled();
  EXPECT_TRUE(store.HasOne());
  EXPECT_EQ(Size(1), static_cast<int64_t>(whole.size()));
  EXPECT_TRUE(store.Flush());
  EXPECT_TRUE(whole.ends_with(Contents(1)));
  folder_.Put(Name(2).c_str(), whole);
  ASSERT_NE(store.Oldest(), nullptr);
  EXPECT_FALSE(store.HasOne()) << "there is another file";
  store.RemovePulled();
  EXPECT_FALSE(Cached(1));
  EXPECT_TRUE(std::filesystem::remove(folder_.Path(Name(2).c_str())));
  EXPECT_EQ(store.Oldest(), nullptr);
  EXPECT_EQ(store.CacheSize(), 0);
}

TEST_F(RecordStoreTest, DamagedRecordsAreConsumed) {
  Leave({"one", "two"});
  std::string damaged = Contents(1);
  damaged[40] ^= '\x55';
  damaged[damaged.size() - 3] ^= '\x55';
  folder_.Put(Name(1).c_str(), damaged);
  SessionParts run(config_, Wmi("1"));
  EXPECT_TRUE(run.Send());
  EXPECT_EQ(Gateway::Events(), Names{});
  EXPECT_FALSE(Cached(1));
  EXPECT_NE(log_.Find("warning: SM: Dropped a damaged record of "), "");
}

TEST_F(RecordStoreTest, AfterAKillTheNoteSparesTheServerWhatItHas) {
  Leave({"one", "two", "three"});
  const std::string whole = Contents(1);
  LatestNote log;
  {
    SessionParts killed(config_, Wmi("1"));
    killed.delivery.Store().SetLeaseLog(&log);
    Take(2);
    EXPECT_FALSE(killed.Send());
  }
  EXPECT_EQ(log.count, 2);
  EXPECT_EQ(Contents(1), whole) << "what a kill leaves";
  SessionParts next(config_, Wmi("1"));
  next.delivery.Store().DropAccepted(log.note);
  EXPECT_TRUE(whole.ends_with(Contents(1)));
  TakeAll();
  EXPECT_TRUE(next.Send());
  EXPECT_EQ(Gateway::Events(), (Names{"one", "two", "three"}));
}

// Another file may get the number and begin with the same bytes.
TEST_F(RecordStoreTest, TheNoteIsWithdrawnWhenItsFileIsDeleted) {
  Leave({"one", "two"});
  LatestNote log;
  SessionParts run(config_, Wmi("1"));
  run.delivery.Store().SetLeaseLog(&log);
  TakeAll();
  EXPECT_TRUE(run.Send());
  EXPECT_FALSE(Cached(1));
  EXPECT_EQ(log.count, 3);
  EXPECT_EQ(log.note.bytes, 0);
}

TEST_F(RecordStoreTest, AnUpgradeSendsWhatTheVersionBeforeCouldNot) {
  config_.noImpliedRecords = true;
  Gateway::refuse = true;
  Run({"old"});
  config_.deployment.debugFlags = true;
  Run({"trial"});
  config_.deployment = {};
  Gateway::refuse = false;
  // Only the time stamps know a version whose first run was killed.
  EXPECT_TRUE(std::filesystem::remove(folder_.Path("TavData")));
  config_.productVersion = "1.1";
  Run({"new"});
  EXPECT_EQ(Gateway::Events(), (Names{"new", "old"}));
  EXPECT_FALSE(Cached(1));
  config_.deployment.debugFlags = true;
  Run({});
  EXPECT_EQ(Gateway::Events(), (Names{"new", "old", "trial"}));
}

TEST_F(RecordStoreTest, AnOptOutDeletesTheFilesOfEveryVersion) {
  Leave({"old"});
  config_.productVersion = "1.1";
  config_.optOut = true;
  Run({});
  EXPECT_FALSE(Cached(1));
  EXPECT_EQ(Gateway::Events(), Names{});
}

}  // namespace
}  // namespace Tav
