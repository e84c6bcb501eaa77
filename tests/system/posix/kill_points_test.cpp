// Hosts that are killed at each of the calls with which the library writes to files or talks to the
// server. Whatever the library had done until then, nothing is lost.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "system/posix/durability_fixture.h"

namespace Tav::Testing {
namespace {

// A number in the environment makes a long run of it.
int KillsOf(int usual, int possible) {
  const char* const wanted = std::getenv("TAV_TEST_KILLS");
  return std::min(possible, wanted != nullptr ? std::atoi(wanted) : usual);
}

struct Life {
  const char* name;
  const char* settings;
  const char* commands;  // %FOLDER% is replaced
  int deadRuns = 0;      // with journals, before
  int kills = 10;
  int recordsAtRisk = 1;  // being sent or stored at the same time
};

// Records are small, so that few events may arrive twice.
constexpr char kSending[] = R"({"max_record_size":9000.0})";
constexpr char kStoring[] = R"({"max_record_size":9000.0,"max_memory_size":64.0,"flush_time":0.0})";
constexpr char kGrowing[] = R"({"max_record_size":300000.0,"max_memory_size":60000000.0})";
constexpr int kEventsInRecord = 30;

constexpr Life kLives[] = {
    {"Sends", kSending,
     "start\nsync\nlog 40 300\ncommit\nvalue Half done\nlog 40 300\ncommit\nterminate"},
    {"Stores", kStoring, "never_send\nstart\nsync\nlog 40 300\nsync\nlog 40 300\nsync"},
    {"Recovers", kSending, "never_send\nstart\nsync\nlog 20 300\nrecovered %FOLDER%", 2},
    {"Grows", kGrowing, "start\nsuspend\nsync\nlog 300 50000\nresume\ncommit\nterminate", 0, 3},
};

constexpr Life kLivesWithCache[] = {
    {"Loads", kStoring,
     "start\nsync\nsuspend\nlog 40 300\nsync\nlog 40 300\nsync\nresume\ncommit\nlog 40 "
     "300\nterminate"},
    {"RecoversAndSends", kStoring, "start\nsync\nlog 20 300\ncommit\nterminate", 2, 10, 2},
};

class KillPointsTest : public HostProcessTest, public testing::WithParamInterface<Life> {
 protected:
  std::string Commands(int point) const {
    std::string commands =
        std::string("die ") + std::to_string(point) + '\n' + GetParam().commands + "\npoints";
    const std::string folder = "%FOLDER%";
    if (const size_t at = commands.find(folder); at != std::string::npos) {
      commands.replace(at, folder.size(), Storage().string());
    }
    return commands;
  }

  // Events in journals. The runs die together, so that none recovers another one's journal.
  void LeaveDeadRuns(const std::string& prefix) {
    PutSettings(kSending);
    std::vector<std::unique_ptr<HostProcess>> hosts;
    for (int i = 0; i < GetParam().deadRuns; ++i) {
      hosts.push_back(std::make_unique<HostProcess>(Host(prefix + "dead" + std::to_string(i))));
      hosts.back()->Send("never_send\nstart\nsync\nlog 60 300\nsync");
      hosts.back()->Await("synced");
      hosts.back()->Await("synced");
    }
    for (const auto& host : hosts) {
      host->Stop();
    }
    for (const auto& host : hosts) {
      host->Kill();
      Expect(*host);
    }
  }

  void Expect(const HostProcess& host) {
    expected_.insert(expected_.end(), host.Accepted().begin(), host.Accepted().end());
  }

  // A life that ends at the point; returns how many points there are if it goes on to the end.
  int Live(const std::string& prefix, int point) {
    LeaveDeadRuns(prefix);
    PutSettings(GetParam().settings);
    HostProcess host(Host(prefix));
    host.Send(Commands(point));
    const bool survived = host.Prints("points ");
    const int points = survived ? std::atoi(host.LastLine().substr(7).c_str()) : 0;
    host.Kill();
    moment_ = survived ? "survived" : host.KilledAt();
    Expect(host);
    return points;
  }

  void CheckArrivals() {
    DeliverCache();
    arrivals_.Collect();
    int twice = 0;
    for (const std::string& event : expected_) {
      EXPECT_GE(arrivals_.Times(event), 1) << event;
      EXPECT_LE(arrivals_.Times(event), 2) << event;
      twice += arrivals_.Times(event) > 1 ? 1 : 0;
    }
    EXPECT_LE(twice, kEventsInRecord * GetParam().recordsAtRisk);
    twice_ += twice;
    arrived_ += expected_.size();
    expected_.clear();
    EXPECT_EQ(GatewayCount("bad_records"), 0);
    // Many lives report more than the gateway remembers.
    ResetGateway();
    arrivals_ = {};
  }

  Lines expected_;
  Arrivals arrivals_;
  std::string moment_;
  int twice_ = 0;
  size_t arrived_ = 0;
};

TEST_P(KillPointsTest, LosesNothing) {
  const int points = Live("whole", 0);
  CheckArrivals();
  ASSERT_EQ(moment_, "survived");
  EXPECT_EQ(twice_, 0);
  std::map<std::string, int> moments;
  const int kills = KillsOf(GetParam().kills, points);
  for (int i = 0; i < kills && !HasFailure(); ++i) {
    const int point = 1 + static_cast<int>(int64_t{i} * points / kills);
    SCOPED_TRACE("point " + std::to_string(point));
    Live("kill" + std::to_string(i), point);
    SCOPED_TRACE(moment_);
    CheckArrivals();
    ++moments[moment_];
  }
  std::printf("%d kills at %d points: %zu events arrived, %d twice\n", kills, points, arrived_,
              twice_);
  for (const auto& [moment, count] : moments) {
    std::printf("  %s: %d\n", moment.c_str(), count);
  }
}

INSTANTIATE_TEST_SUITE_P(Lives, KillPointsTest, testing::ValuesIn(kLives), [](const auto& life) {
  return std::string(life.param.name);
});

INSTANTIATE_TEST_SUITE_P(LivesWithCache,
                         KillPointsTest,
                         testing::ValuesIn(kLivesWithCache),
                         [](const auto& life) { return std::string(life.param.name); });

}  // namespace
}  // namespace Tav::Testing
