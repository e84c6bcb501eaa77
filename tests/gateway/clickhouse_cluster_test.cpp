#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <unordered_map>

#include "gateway/gateway_cluster.h"
#include "gateway/gateway_fixture.h"

namespace Gateway {
namespace {

using std::chrono::steady_clock;

constexpr int kHosts = 200;
constexpr int kThreads = 40;
constexpr int kEvents = 3;  // of GoodRecord

// 200 hosts send records through one address. A host repeats a record until it is answered 200, and
// one in ten once more after that, as if the answer had been lost.
class Load {
 public:
  Load(std::string url, int recordsPerHost) : url_(std::move(url)), perHost_(recordsPerHost) {
    for (int thread = 0; thread < kThreads; ++thread) {
      threads_.emplace_back([this, thread] {
        HttpClient client(url_);
        client.SetTimeout(std::chrono::seconds(30));
        for (int number = 0; number < perHost_; ++number) {
          for (int host = thread; host < kHosts; host += kThreads) {
            Deliver(client, host, number);
          }
        }
      });
    }
  }
  ~Load() { Join(); }

  void Join() {
    for (std::thread& thread : threads_) {
      thread.join();
    }
    threads_.clear();
  }

  int Total() const { return kHosts * perHost_; }
  int Confirmed() const { return confirmed_; }
  int Requests() const { return requests_; }
  int Refused() const { return refused_; }
  int Doubled() const { return doubled_; }
  // Of the records that were answered 200.
  const std::set<std::string>& Digests() const { return digests_; }

  bool AwaitConfirmed(int count) const {
    const auto deadline = steady_clock::now() + std::chrono::minutes(3);
    while (confirmed_ < count && steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return confirmed_ >= count;
  }

 private:
  bool Send(HttpClient& client, const std::string& text) {
    ++requests_;
    const bool isConfirmed = RunningGateway::Post(client, text) == 200;
    refused_ += isConfirmed ? 0 : 1;
    return isConfirmed;
  }

  void Deliver(HttpClient& client, int host, int number) {
    const std::string text = GoodRecord(std::to_string(host) + '/' + std::to_string(number));
    const auto deadline = steady_clock::now() + std::chrono::minutes(2);
    while (!Send(client, text)) {
      if (steady_clock::now() > deadline) {
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ++confirmed_;
    {
      const std::lock_guard guard(lock_);
      digests_.insert(ReadText(text)->digest);
    }
    if ((host + number) % 10 == 0) {
      ++doubled_;
      Send(client, text);
    }
  }

  const std::string url_;
  const int perHost_;
  std::atomic<int> confirmed_{0}, requests_{0}, refused_{0}, doubled_{0};
  std::mutex lock_;
  std::set<std::string> digests_;
  std::vector<std::thread> threads_;
};

// Kills a gateway, ClickHouse or both in turn, and prints what it did.
void Kill(GatewayCluster& cluster, int number, const Load& load) {
  const std::size_t gateway = static_cast<std::size_t>(number) % GatewayCluster::kGateways;
  const bool isGateway = number % 3 != 1;
  const bool isClickHouse = number % 3 != 0;
  const auto begin = steady_clock::now();
  const int refused = load.Refused();
  const int confirmed = load.Confirmed();
  if (isGateway) {
    cluster.KillGateway(gateway);
  }
  std::thread restart;
  if (isClickHouse) {
    restart = std::thread([] { GatewayCluster::RestartClickHouse(); });
  }
  if (isGateway) {
    cluster.StartGateway(gateway);
  }
  if (restart.joinable()) {
    restart.join();
  }
  load.AwaitConfirmed(std::min(load.Total(), load.Confirmed() + 1));
  const std::chrono::duration<double> time = steady_clock::now() - begin;
  std::printf("| %d | %s%s%s | %d | %d | %.1f |\n", number + 1, isGateway ? "gateway" : "",
              isGateway && isClickHouse ? " and " : "", isClickHouse ? "ClickHouse" : "", confirmed,
              load.Refused() - refused, time.count());
  std::fflush(stdout);
}

// How many rows a query has for each first column.
std::unordered_map<std::string, int> Counts(const std::string& database, const std::string& sql) {
  std::unordered_map<std::string, int> counts;
  std::istringstream lines(Select(database, sql));
  std::string key;
  for (int count = 0; lines >> key >> count;) {
    counts[key] = count;
  }
  return counts;
}

TEST(ClickHouseClusterTest, EveryConfirmedRecordIsThereOnceAfterKills) {
  constexpr char kDatabase[] = "cluster";
  const char* variable = std::getenv("TAV_TEST_KILLS");
  const int kills = variable != nullptr ? std::atoi(variable) : 3;
  GatewayCluster cluster(kDatabase);
  Load load(cluster.Url(), 2 + kills * 2);
  std::printf(
      "| kill (-9) | of | confirmed before | refused meanwhile | s until confirmed again |\n"
      "|---|---|---|---|---|\n");
  for (int kill = 0; kill < kills; ++kill) {
    ASSERT_TRUE(load.AwaitConfirmed(load.Total() * (kill + 1) / (kills + 1)));
    Kill(cluster, kill, load);
  }
  load.Join();
  EXPECT_EQ(load.Confirmed(), load.Total());

  const auto records =
      Counts(kDatabase, "SELECT record, count() FROM records_view GROUP BY record");
  const auto events = Counts(kDatabase, "SELECT record, count() FROM events_view GROUP BY record");
  int missing = 0;
  int wrong = 0;
  for (const std::string& digest : load.Digests()) {
    const auto record = records.find(digest);
    const auto found = events.find(digest);
    missing += record == records.end() ? 1 : 0;
    wrong += record != records.end() &&
                     (record->second != 1 || found == events.end() || found->second != kEvents)
                 ? 1
                 : 0;
  }
  EXPECT_EQ(missing, 0);
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(records.size(), load.Digests().size());
  EXPECT_EQ(events.size(), load.Digests().size());
  const std::string copies = Select(kDatabase, "SELECT count() FROM record_rows");
  std::printf(
      "%d requests, %d refused, %d sent again after 200; %zu confirmed, %d missing, %d not "
      "exactly once, copies in all: %s",
      load.Requests(), load.Refused(), load.Doubled(), load.Digests().size(), missing, wrong,
      copies.c_str());
  // Doubled uploads reach another gateway, so there are copies to hide.
  EXPECT_GT(std::atoi(copies.c_str()), static_cast<int>(load.Digests().size()));
}

}  // namespace
}  // namespace Gateway
