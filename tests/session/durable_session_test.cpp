// What one run leaves on the disk and the next one makes of it.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "config/config_manager.h"
#include "session/session_parts.h"
#include "storage/storage_views.h"
#include "streams/chunk_stream.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "util/time_stamp.h"

namespace Tav {
namespace {

using Testing::Gateway;
using Testing::Names;

using Access = PersistentStorage::Access;
using ProductView = PersistentStorage::ProductView;

const ProductIdentity kProduct{"Product", "1.0", "wntx64"};
constexpr int64_t kSecondsPerDay = 86400;

class DurableSessionTest : public Testing::SessionManagerTest {
 protected:
  // Takes the log.
  int64_t CountLost() {
    const Names lines = log_.Take();
    return std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
      return line.ends_with(" bytes) could be neither sent nor stored and are lost");
    });
  }
  bool Cached(int sequence) const { return std::filesystem::exists(CachePath(sequence)); }

  // What the settings of an earlier fetch look like in the storage.
  void StoreSettings(const EnvMap& settings, const std::vector<std::string>& inhibited = {}) {
    PersistentStorage storage;
    storage.Open(Access::Update);
    SaveSettings(&storage, kProduct, {settings, inhibited});
    storage.CloseAndSave();
  }
  EnvValue Stored(const char* key, bool timestamps = false) {
    PersistentStorage storage;
    timestamps ? storage.OpenTimestamps(Access::Read) : storage.Open(Access::Read);
    return ProductView(&storage, kProduct, Access::Read).GetValue(key);
  }
  void StoreStamp(const char* key, int64_t day) {
    PersistentStorage storage;
    storage.OpenTimestamps(Access::Update);
    ProductView(&storage, kProduct, Access::Update)
        .SetValue(key, EnvValue::Number(static_cast<double>(day)));
    storage.CloseAndSave();
  }
  // The server's answer to a fetch of the settings.
  void ServeSettings(const std::string& answer) {
    folder_.Put("answer.json", answer);
    const std::string path = Testing::StorageFolder::Utf8(folder_.Path("answer.json"));
    Testing::SetEnvironment("TAV_CONFIGURATOR", ("file://" + path).c_str());
  }
};

// A gateway of another name knows nothing of the product.
TEST_F(DurableSessionTest, ANewServerGetsTheWholeProductEnvironment) {
  SetProductValue("Edition", "Pro");
  Run({"one"});
  EXPECT_EQ(Stored("Server").text, "test://");
  Testing::SetEnvironment("TAV_GATEWAY", "TEST://");
  SetProductValue("Edition", "Pro");
  Run({});
  EXPECT_EQ(Gateway::ProductValue(1, "std-Incremental"), "false");
  EXPECT_EQ(Gateway::ProductValue(1, "Edition"), "Pro");
}

TEST_F(DurableSessionTest, OptingOutDeletesTheCacheAndIsRememberedUntilItIsSent) {
  SetProductValue("std-OptOut", "false");
  Run({"sent"});
  Gateway::refuse = true;
  SetProductValue("std-OptOut", "false");
  Run({"secret"});
  ASSERT_TRUE(Cached(1));

  config_.optOut = true;
  config_.noImpliedRecords = true;
  SetProductValue("std-OptOut", "true");
  Run({"secret"});
  EXPECT_EQ(Stored("PendingStdOptOut").text, "true");
  Gateway::refuse = false;
  SetProductValue("std-OptOut", "true");
  Run({"secret"});
  EXPECT_FALSE(Cached(1));
  EXPECT_EQ(Stored("PendingStdOptOut").text, "");
  ASSERT_EQ(Gateway::RecordCount(), 2u);
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "sent", "$e"}));
  EXPECT_EQ(Gateway::ProductValue(1, "std-OptOut"), "true");

  config_.optOut = false;
  config_.noImpliedRecords = false;
  SetProductValue("std-OptOut", "false");
  Run({});
  EXPECT_EQ(Gateway::ProductValue(2, "std-OptOut"), "false");
}

TEST_F(DurableSessionTest, AnOptedOutProductSendsNothingThatAnotherProcessCaches) {
  Gateway::refuse = true;
  Run({"secret"});
  const std::string cached = folder_.Contents(CachePath(1).filename().string().c_str());
  Gateway::refuse = false;
  config_.optOut = true;
  SetProductValue("std-OptOut", "true");
  Start();
  FinishTurn();
  folder_.Put(CachePath(1).filename().string().c_str(), cached);
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  const std::unique_ptr<char, decltype(&std::free)> pulled(manager_->PullData(), &std::free);
  EXPECT_EQ(pulled, nullptr);
  Stop();
  EXPECT_EQ(Gateway::Events(), Names{});
  EXPECT_TRUE(Cached(1));
}

TEST_F(DurableSessionTest, SettingsOfAnEarlierFetchGovernTheRun) {
  StoreSettings({{"max_event_per_minute", EnvValue::Number(3)}}, {"secret"});
  Run({"one", "secret", "two", "three"});
  EXPECT_EQ(Gateway::Events(), Names{});  // a product that reports too much is switched off
  EXPECT_NE(log_.Find("warning: SM: Too many events (3) generated in one minute. Disabling"), "");

  StoreSettings({{"max_event_per_hour", EnvValue::Number(5)}}, {"secret"});
  Run({"one", "secret", "two"});
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one", "two", "$e"}));

  StoreSettings({{"disabled", EnvValue::Number(-1)}});
  Start();
  Log("one");
  EXPECT_EQ(manager_->Commit(), CommitResult::NotSent);
  Stop();
  EXPECT_NE(log_.Find("SM: Analytics disabled due to settings"), "");
  EXPECT_EQ(Gateway::Events().size(), 4u);
}

TEST_F(DurableSessionTest, SettingsAreFetchedOnceADayForTheNextRun) {
  ServeSettings(R"({"inhibit": ["secret"], "flush_time": 20})");
  Run({"secret"});
  EXPECT_NE(log_.Find("SM: Updating PS with new settings"), "");
  ServeSettings(R"({"inhibit": []})");  // asked tomorrow at the earliest
  Run({"secret"});
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "secret", "$e", "$b", "$e"}));
  EXPECT_NE(log_.Find("SM: Config stamp unchanged"), "");

  // The day has passed, but what the server says is no JSON: the settings stay.
  StoreStamp("LastConfigAccess", CurrentTime() / kSecondsPerDay - 1);
  ServeSettings("<html>busy</html>");
  Run({});
  StoreStamp("LastConfigAccess", CurrentTime() / kSecondsPerDay - 1);
  ServeSettings(R"({"inhibit": [], "flush_time": 20})");
  Run({"secret"});
  Run({"secret"});
  const Names events = Gateway::Events();
  EXPECT_EQ(std::count(events.begin(), events.end(), "secret"), 2);
}

TEST_F(DurableSessionTest, AnOptedOutProductDescribesNoMachine) {
  std::filesystem::remove(folder_.Path("TsTavData"));
  config_.optOut = true;
  SetProductValue("std-OptOut", "true");
  Run({});
  EXPECT_EQ(Gateway::ClientValue(0, "OsArch"), "");
  EXPECT_EQ(log_.Find("CI: Collecting"), "");
}

TEST_F(DurableSessionTest, DayStampsTellOfTheLastRun) {
  const int64_t today = CurrentTime() / kSecondsPerDay;
  StoreStamp("LastActive", today - 3);
  StoreStamp("LastServerAccess", today - 2);
  Gateway::refuse = true;
  Start();
  EXPECT_EQ(manager_->GetLastActiveTime(), today - 3);
  EXPECT_EQ(manager_->GetLastServerAccessTime(), today - 2);
  Stop();
  EXPECT_EQ(Stored("LastActive", true).number, static_cast<double>(today));
  EXPECT_EQ(Stored("LastServerAccess", true).number, static_cast<double>(today - 2));
  Gateway::refuse = false;
  Run({});
  EXPECT_EQ(Stored("LastServerAccess", true).number, static_cast<double>(today));
}

TEST_F(DurableSessionTest, APersistentIntervalRunsAcrossRuns) {
  config_.persistentInterval = true;
  config_.sendInterval = 5000;
  Run({"one"});
  Run({"two"});
  EXPECT_EQ(Gateway::RecordCount(), 0u);
  std::filesystem::last_write_time(
      CachePath(1), std::filesystem::last_write_time(CachePath(1)) - std::chrono::seconds(5000));
  Start();
  EXPECT_TRUE(Testing::Eventually([] { return Gateway::Events().size() == 6u; }));
  Stop();

  // The end of a run does not wait for that time if enough has come together.
  config_.persistentInterval = true;
  config_.sendInterval = 5000;
  Run({"three"});
  EXPECT_EQ(Gateway::Events().size(), 6u);
  config_.persistentInterval = true;
  config_.sendInterval = 5000;
  config_.sendThreshold = 1;
  Run({"four"});
  EXPECT_EQ(Gateway::Events().size(), 12u);
}

// Its time has come, but no turn has sent yet.
TEST_F(DurableSessionTest, APersistentIntervalThatIsOverSendsAtTheEnd) {
  config_.persistentInterval = true;
  config_.sendInterval = 5000;
  Testing::SessionParts run(config_, Testing::Wmi("1"));
  run.Log("one");
  Now earlier = ReadClocks();
  earlier.monotonic = earlier.monotonic + -5001;
  run.delivery.Schedule().SetInitialWaitTime(earlier, 0, earlier.unixSeconds);
  run.Terminate();
  EXPECT_EQ(Gateway::Events(), Names{"one"});
}

TEST_F(DurableSessionTest, ACacheThatFailsDropsNothingAndTheNextCommitTells) {
  config_.flushInterval = 0;
  BlockCache();
  Start();
  manager_->Suspend();
  Log("one");
  EXPECT_TRUE(Testing::Eventually(
      [this] { return !log_.Find("warning: CM: Cannot open cache file").empty(); }));
  FinishTurn();
  EXPECT_EQ(manager_->Commit(), CommitResult::CacheWriteFailed);
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one"}));
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
}

TEST_F(DurableSessionTest, WithoutACacheEventsStayInTheJournal) {
  StoreSettings({{"max_memory_size", EnvValue::Number(-1)}});  // out of range
  config_.maxMemorySize = 100;
  BlockCache();
  Gateway::refuse = true;
  Start();
  Names expected = {"$b"};
  for (int i = 0; i < 10; ++i) {
    expected.push_back("event" + std::to_string(i));
    Log(expected.back());
    EXPECT_NE(manager_->Commit(), CommitResult::Sent);
  }
  Stop();
  expected.emplace_back("$e");
  EXPECT_EQ(log_.Find("warning: SM: Memory bound reached."), "");
  EXPECT_NE(log_.Find("SM: Events that could be neither sent nor stored stay in the journal"), "");
  EXPECT_EQ(CountLost(), 0);
  UnblockCache();
  Gateway::refuse = false;
  Start();
  EXPECT_EQ(manager_->Commit(), CommitResult::Sent);
  Stop();
  EXPECT_EQ(Gateway::Events(), expected);
}

// Behind a record that waits, nobody settled it.
TEST_F(DurableSessionTest, ADroppedEventDoesNotKeepTheJournal) {
  StoreSettings({}, {"secret"});
  Gateway::refuse = true;
  Start();
  Log("one");
  EXPECT_NE(manager_->Commit(), CommitResult::Sent);
  manager_->Suspend();
  Log("secret");
  Stop();
  for (const auto& entry : std::filesystem::directory_iterator(folder_.Path(""))) {
    EXPECT_FALSE(entry.path().filename().string().starts_with("TavJournal_"));
  }
  Gateway::refuse = false;
  Run({});
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one", "$e"}));
}

TEST_F(DurableSessionTest, PushedRecordsAreBoundedAndTheEndSaysWhatIsLost) {
  config_.maxMemorySize = 100;  // sixteen times as much is kept at most
  BlockCache();
  Gateway::refuse = true;
  Start();
  Log("pulled");
  char* const block = manager_->PullData();
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 20; ++i) {
    manager_->PushData(block);
  }
  std::free(block);
  EXPECT_TRUE(Testing::Eventually(
      [this] { return log_.Find("warning: SM: Memory bound reached. Dropped the ") != ""; }));
  Stop();
  EXPECT_EQ(CountLost(), 1);
}

TEST_F(DurableSessionTest, ADamagedRecordDoesNotBlockThoseBehindIt) {
  Gateway::refuse = true;
  Run({"one"});
  Run({"two"});
  std::fstream file(CachePath(1), std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(40);
  file.write("????", 4);
  file.close();
  Gateway::refuse = false;
  Run({});
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "two", "$e"}));
  EXPECT_NE(log_.Find("warning: SM: Dropped a damaged record of "), "");
}

TEST_F(DurableSessionTest, ARecordThatExpandsBeyondTheBoundIsDropped) {
  MemoryOutputStream file;
  ChunkOutputStream chunks(&file);
  MemoryOutputStream bomb;
  GZipOutputStream gzip(&bomb);
  const std::string blanks(1 << 20, ' ');
  gzip.Write("{\"rt\":[]", 8);
  for (int i = 0; i < 17; ++i) {
    gzip.Write(blanks.data(), blanks.size());
  }
  gzip.Write("}", 1);
  gzip.Flush();
  const std::vector<uint8_t> payload = bomb.Join();
  chunks.Write(payload.data(), payload.size());
  const std::vector<uint8_t> bytes = file.Join();
  std::ofstream(CachePath(1), std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  Run({"one"});
  EXPECT_EQ(Gateway::RecordCount(), 1u);
  EXPECT_EQ(Gateway::Events(), (Names{"$b", "one", "$e"}));
  EXPECT_EQ(log_.Find("warning: SM: Dropped a damaged record of "),
            "warning: SM: Dropped a damaged record of " + std::to_string(payload.size()) +
                " bytes from the cache");
  EXPECT_FALSE(Cached(1));
}

TEST_F(DurableSessionTest, PulledRecordsComeFromTheCacheAndAnOptedOutProductTakesNoneBack) {
  Gateway::refuse = true;
  Run({"one"});
  config_.sendInterval = -1;
  Start();
  const std::unique_ptr<char, decltype(&std::free)> first(manager_->PullData(), &std::free);
  const std::unique_ptr<char, decltype(&std::free)> second(manager_->PullData(), &std::free);
  ASSERT_TRUE(first != nullptr && second != nullptr);
  Stop();
  Gateway::refuse = false;
  config_ = {};
  config_.productName = "Product";
  config_.productVersion = "1.0";
  config_.optOut = true;
  Start();
  manager_->PushData(second.get());
  Stop();
  EXPECT_EQ(Gateway::Events(), Names{});
}

}  // namespace
}  // namespace Tav
