// Gateways that refuse, delay or never answer, and what a host notices of it.
#include <chrono>
#include <string>
#include <vector>

#include "support/loopback_server.h"
#include "system/host.h"

namespace Tav::Testing {
namespace {

class SendingTest : public HostTest {
 protected:
  // Milliseconds that `step` takes.
  template <typename Step>
  static int64_t TimeOf(Step step) {
    const auto start = std::chrono::steady_clock::now();
    step();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
  }

  // Takes an event out of the library as a record of its own. The library must not be sending.
  std::string RecordOf(const std::string& event) const {
    tav_->LogEvent(tav_->NewEvent(event.c_str()));
    char* const text = tav_->PullData();
    std::string record = text != nullptr ? text : "";
    tav_->FreeData(text);
    return record;
  }

  // Leaves records in the cache, each with one event.
  void FillCache(const Lines& events) {
    UseGateway(kNoServer);
    Initialize();
    tav_->Suspend();
    Lines records;
    for (const std::string& event : events) {
      records.push_back(RecordOf(event));
    }
    for (const std::string& record : records) {
      tav_->PushData(record.c_str());
    }
    Stop();
    UseGateway(GatewayUrl());
  }

  static bool FaultsAreUsedUp() { return json_array_size(GatewayGet("api/faults").Get()) == 0; }
};

TEST_F(SendingTest, ARefusedRecordDoesNotHoldUpTheOthersAndIsSentLater) {
  FillCache({"first", "refused", "last"});
  // The requests of the next run: one without a body, then the records.
  GatewayPost("api/faults", R"([{"kind":"delay","milliseconds":0,"count":2},
                                {"kind":"status","status":413}])");
  Initialize();
  EXPECT_TRUE(Eventually([] { return TimesArrived("last") == 1; }));
  tav_->LogEvent(tav_->NewEvent("new"));
  EXPECT_EQ(tav_->Commit(), 1);  // not everything is sent
  EXPECT_EQ(TimesArrived("first"), 1u);
  EXPECT_EQ(TimesArrived("new"), 1u);
  EXPECT_EQ(TimesArrived("refused"), 0u);
  EXPECT_EQ(CacheFiles().size(), 1u);
  Stop();
  EXPECT_EQ(TimesArrived("refused"), 0u) << "tried again before its time";
  EXPECT_EQ(CacheFiles().size(), 1u);
  RunOnce("next");
  EXPECT_TRUE(Eventually([] { return TimesArrived("refused") == 1; }));
  EXPECT_EQ(GatewayCount("doubled_records"), 0);
}

TEST_F(SendingTest, TerminateDoesNotWaitForAServerThatStaysSilent) {
  // The terminate time is 10 seconds, and a silent server takes 30.
  constexpr int64_t kLimit = 6000;
  for (const std::string& event : Lines{"late", "stuck"}) {
    ResetGateway();
    GatewayPost("api/faults", R"({"kind":"hang","count":1})");
    Initialize();
    if (event == "late") {
      tav_->Suspend();  // the request begins in Terminate
    }
    tav_->LogEvent(tav_->NewEvent(event.c_str()));
    EXPECT_TRUE(event == "late" || Eventually(FaultsAreUsedUp));
    const int64_t time = TimeOf([this] { Stop(); });
    EXPECT_LT(time, kLimit);
    RecordProperty(event, std::to_string(time));
    EXPECT_EQ(TimesArrived(event), 0u);
    EXPECT_EQ(CacheFiles().size(), 1u);
    ResetGateway();
    RunOnce("after");
    EXPECT_TRUE(Eventually([&] { return TimesArrived(event) == 1; }));
  }
}

TEST_F(SendingTest, TerminateDoesNotWaitForSilentSettings) {
  LoopbackServer server;
  server.EnqueueSilence();
  UseConfigurationServer(server.Url());
  Initialize();
  EXPECT_TRUE(Eventually([&] { return !server.Requests().empty(); }));
  EXPECT_LT(TimeOf([this] { Stop(); }), 4500);
}

TEST_F(SendingTest, ALongBacklogDoesNotHoldUpTheHost) {
  constexpr size_t kBacklog = 100;
  PutSettings(R"({"flush_time":1.0})");
  Lines events;
  for (size_t i = 0; i < kBacklog; ++i) {
    events.push_back("old" + std::to_string(i));
  }
  FillCache(events);
  GatewayPost("api/faults", R"({"kind":"delay","milliseconds":100,"count":100})");
  Initialize();
  EXPECT_TRUE(Eventually([] { return GatewayCount("records") > 0; }));
  tav_->LogEvent(tav_->NewEvent("fresh"));
  const int64_t time = TimeOf([this] {
    char id[64] = "";
    tav_->GetEndpointIdentifier(id, sizeof id);
  });
  EXPECT_LT(GatewayCount("records"), static_cast<int64_t>(kBacklog));
  RecordProperty("answer", std::to_string(time));
  EXPECT_TRUE(Eventually([] { return TimesArrived("fresh") == 1; }));
  EXPECT_TRUE(Eventually([] { return GatewayCount("records") >= int64_t{kBacklog} + 1; }));
  Stop();
  Arrivals arrivals;
  arrivals.Collect();
  arrivals.ExpectOnce(events);
  ExpectNoBadRecords();
}

TEST_F(SendingTest, CommitAnswersWhenEverythingIsSentAndHostsGoOnReporting) {
  Lines events;
  for (int i = 0; i < 30; ++i) {
    events.push_back("event" + std::to_string(i));
  }
  FillCache(events);
  GatewayPost("api/faults", R"({"kind":"delay","milliseconds":100,"count":30})");
  Initialize();
  EXPECT_EQ(tav_->Commit(), 0);
  Arrivals arrivals;
  arrivals.Collect();
  arrivals.ExpectOnce(events);
  EXPECT_TRUE(CacheFiles().empty());
}

TEST_F(SendingTest, TerminateGoesOnWithASendThatHasBegun) {
  Lines events;
  for (int i = 0; i < 30; ++i) {
    events.push_back("event" + std::to_string(i));
  }
  FillCache(events);
  GatewayPost("api/faults", R"({"kind":"delay","milliseconds":100,"count":20})");
  Initialize();
  EXPECT_TRUE(Eventually([] { return GatewayCount("records") > 2; }));
  Stop();
  EXPECT_TRUE(CacheFiles().empty());
  Arrivals arrivals;
  arrivals.Collect();
  arrivals.ExpectOnce(events);
}

}  // namespace
}  // namespace Tav::Testing
