// Several hosts at the same time, and hosts that are killed while they work.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

#include "system/posix/durability_fixture.h"

namespace Tav::Testing {
namespace {

class ManyHostsTest : public HostProcessTest {
 protected:
  static constexpr int kProcesses = 4;

  // Runs four hosts at the same time; returns the names of their events.
  Lines RunTogether(bool withGateway) const {
    std::vector<std::unique_ptr<HostProcess>> hosts;
    for (int i = 0; i < kProcesses; ++i) {
      const std::string prefix = "host" + std::to_string(i);
      hosts.push_back(
          std::make_unique<HostProcess>(withGateway ? Host(prefix) : HostWithoutGateway(prefix)));
    }
    std::string work = "start\nvalue Half done\n";
    for (int i = 0; i < 10; ++i) {
      work += "log 50 300\nsync\n";
    }
    for (const auto& host : hosts) {
      host->Send(work + "commit\nterminate");
    }
    Lines accepted;
    for (const auto& host : hosts) {
      host->Finish();
      EXPECT_EQ(host->Accepted().size(), 500u);
      accepted.insert(accepted.end(), host->Accepted().begin(), host->Accepted().end());
    }
    return accepted;
  }
};

TEST_F(ManyHostsTest, LoseAndDoubleNothing) {
  const Lines accepted = RunTogether(true);
  EXPECT_EQ(ReadCache().files, Lines());
  ExpectArrived(accepted);
}

TEST_F(ManyHostsTest, ShareTheCacheThatALaterRunDelivers) {
  // Everything is stored at once, so that the hosts use the folder at the same time.
  PutSettings(
      R"({"flush_time":0.0,"pause_time":0.0,"max_memory_size":64.0,"max_record_size":9000.0})");
  const Lines accepted = RunTogether(false);
  CacheContents cache = ReadCache();
  EXPECT_EQ(cache.faults, Lines());
  Lines expected = accepted;
  std::sort(expected.begin(), expected.end());
  std::sort(cache.events.begin(), cache.events.end());
  EXPECT_EQ(cache.events, expected);
  EXPECT_EQ(GatewayCount("records"), 0);
  DeliverCache();
  ExpectArrived(accepted);
}

using std::chrono::microseconds;
using std::chrono::steady_clock;

// Log lines before the operations in which hosts are killed.
constexpr const char* kMoments[] = {
    "CM: Append data to cache",         // stores records
    "CM: Opening cache file for read",  // loads records
    "PI: persist info to PS",           // writes the storage file
    "SM: Connecting to server",         // sends
};

class KilledHostsTest : public HostProcessTest {
 protected:
  KilledHostsTest() {
    // Everything is stored at once and sent as early as possible.
    PutSettings(R"({"flush_time":0.0,"pause_time":0.0,"max_memory_size":64.0,"send_threshold":1.0,)"
                R"("max_record_size":9000.0,"resend_time":0.0,"resend_delta":0.0})");
  }

  void RunAndKill(int round);
  void CheckCache(const HostProcess& host);

  Arrivals arrivals_;
  int onDisk_ = 0;
  int torn_ = 0;
};

// Each batch is stored while sending is suspended, and sent afterwards.
std::string Batches(int count) {
  std::string lines = "start\nsync";
  for (int i = 0; i < count; ++i) {
    lines += "\nsuspend\nlog 40 300\nsync\nvalue Batch " + std::to_string(i) + "\nresume\nsync";
  }
  return lines;
}

// Rounds differ in the operation in which the host is killed, how many times it has been done
// before, how long it has been running, and whether the gateway refuses a record.
void KilledHostsTest::RunAndKill(int round) {
  const char* const moment = kMoments[round % 4];
  const int variant = round / 4;
  const bool isRefused = variant % 3 == 1;  // the library retries after a second
  if (isRefused) {
    GatewayPost("api/faults", R"({"kind":"status","status":503,"count":1})");
  }
  HostSettings settings = Host("round" + std::to_string(round));
  settings.logLevel = "TRACE";
  HostProcess host(settings);
  host.Send(Batches(20));
  const int times = isRefused ? 1 : 1 + variant % 3;
  for (int i = 0; i < times; ++i) {
    host.Await(moment);
  }
  const auto end = steady_clock::now() + microseconds(variant * variant * 20);
  while (steady_clock::now() < end) {
  }
  host.Kill();
  CheckCache(host);
}

void KilledHostsTest::CheckCache(const HostProcess& host) {
  const CacheContents cache = ReadCache();
  EXPECT_EQ(cache.faults, Lines());
  onDisk_ += static_cast<int>(cache.events.size());
  torn_ += cache.tornFiles;
  EndFaults();
  DeliverCache();
  arrivals_.Collect();
  for (const std::string& event : cache.events) {
    EXPECT_GE(arrivals_.Times(event), 1) << event;
  }
  for (const std::string& event : host.Accepted()) {
    EXPECT_GE(arrivals_.Times(event), 1) << event;
  }
}

TEST_F(KilledHostsTest, LoseNothing) {
  constexpr int kRounds = 48;
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round) + ", killed at " + kMoments[round % 4]);
    RunAndKill(round);
  }
  // Those that were being sent or stored when the host was killed.
  int twice = 0;
  for (const auto& [event, times] : arrivals_.All()) {
    EXPECT_LE(times, 2) << event;
    twice += times == 2 ? 1 : 0;
  }
  EXPECT_EQ(GatewayCount("bad_records"), 0);
  EXPECT_GT(onDisk_, 0) << "all hosts were killed before they stored anything";
  std::printf(
      "%d killed hosts: %zu events arrived, %d of them from the cache, %d twice; %d torn files\n",
      kRounds, arrivals_.All().size(), onDisk_, twice, torn_);
}

// The kills above rarely leave an incomplete chunk, so this test makes one.
TEST_F(KilledHostsTest, NothingIsWrittenAfterAnIncompleteChunk) {
  Lines kept;
  for (int run = 0; run < 3; ++run) {
    HostProcess host(HostWithoutGateway("run" + std::to_string(run)));
    host.Send("start\nlog 100 300\nterminate");
    host.Finish();
    const CacheContents cache = ReadCache();
    EXPECT_EQ(cache.faults, Lines());
    ASSERT_FALSE(cache.files.empty());
    const std::filesystem::path newest = Storage() / cache.files.back();
    std::filesystem::resize_file(newest, std::filesystem::file_size(newest) - 7);
    const CacheContents torn = ReadCache();
    EXPECT_EQ(torn.tornFiles, run + 1);
    EXPECT_GT(torn.events.size(), kept.size()) << "the other chunks are complete";
    kept = torn.events;
  }
  DeliverCache();
  ExpectArrived(kept);
}

}  // namespace
}  // namespace Tav::Testing
