// Events survive a gateway that is down or never answers; events of opted-out users do not.
#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "system/host.h"

namespace Tav::Testing {
namespace {

class DurabilityTest : public HostTest {
 protected:
  // Each event has a unique name.
  void Report(const std::string& prefix, int count) {
    for (int i = 0; i < count; ++i) {
      reported_.push_back(prefix + '.' + std::to_string(i));
      TavEvent_s* const event = tav_->NewEvent(reported_.back().c_str());
      tav_->AddEventProperty(event, "Diary", "dear diary");
      tav_->LogEvent(event);
    }
  }

  // The contents of all files in the folder.
  std::string FolderContents() const {
    std::string contents;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
      std::ifstream file(entry.path(), std::ios::binary);
      contents.append(std::istreambuf_iterator<char>(file), {});
    }
    return contents;
  }

  Lines reported_;
};

TEST_F(DurabilityTest, EventsOfRunsWithoutAGatewayArriveInALaterRun) {
  UseGateway(kNoServer);
  for (const char* run : {"first", "second", "third"}) {
    Initialize();
    Report(run, 100);
    Stop();
    EXPECT_FALSE(CacheFiles().empty()) << run;
  }
  UseGateway(GatewayUrl());
  Initialize();
  Report("fourth", 100);
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_TRUE(CacheFiles().empty());
  ExpectArrived(reported_);
}

TEST_F(DurabilityTest, TerminationDoesNotWaitForServersThatNeverAnswer) {
  // The terminate time is 3 seconds, the time-out of a request 30.
  constexpr std::chrono::seconds kMaxTerminateTime{15};
  PutSettings(R"({"terminate_time":3.0})");
  GatewayPost("api/faults", R"({"kind":"hang","count":2})");
  UseConfigurationServer(GatewayUrl() + "configserver/");
  Initialize();
  Report("unheard", 100);
  EXPECT_TRUE(Eventually([] { return json_array_size(GatewayGet("api/faults").Get()) == 0; }));
  EXPECT_EQ(GatewayCount("configuration_requests"), 1);
  Report("unheard too", 100);
  const auto begin = std::chrono::steady_clock::now();
  Stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, kMaxTerminateTime);
  EXPECT_FALSE(CacheFiles().empty());
  // The next run does not depend on the requests of the first, which are still open.
  UseConfigurationServer(kNoServer);
  Initialize();
  Report("heard", 1);
  Stop();
  EXPECT_TRUE(CacheFiles().empty());
  ExpectArrived(reported_);
  ResetGateway();  // ends the requests
}

TEST_F(DurabilityTest, OptingOutDeletesTheCacheAndSendsOnlyTheOptOut) {
  const auto addSecrets = [this] {
    tav_->AddProductInfo("Place", "secret");
    tav_->AddSessionEnvInfo("Licence", "Trial");
  };
  UseGateway(kNoServer);
  addSecrets();
  Initialize();
  Report("opted-in", 100);
  Stop();
  ASSERT_FALSE(CacheFiles().empty());

  UseGateway(GatewayUrl());
  tav_->OptOut();
  addSecrets();
  Initialize();
  tav_->GetLastActiveTime();  // returns after the start
  EXPECT_TRUE(CacheFiles().empty());
  Report("opted-out", 100);
  tav_->LogPlace("diary");
  tav_->Commit();
  Report("opted-out again", 100);
  Stop();
  EXPECT_TRUE(CacheFiles().empty());
  const std::string contents = FolderContents();
  for (const char* text : {"diary", "Diary", "secret", "Trial", "opted-in", "opted-out"}) {
    EXPECT_EQ(contents.find(text), std::string::npos) << text;
  }
  const std::vector<JsonPtr> records = Records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(Member(records[0], "pe"), R"({"std-OptOut":"true","std-Incremental":"true"})");
  EXPECT_EQ(Member(records[0], "rt") + Member(records[0], "ce"), "");

  RunOnce("opted-in again");
  EXPECT_EQ(TimesArrived("opted-in%20again"), 1u);
}

TEST_F(DurabilityTest, AnOptedOutRunWithoutAGatewayStoresNoEvent) {
  UseGateway(kNoServer);
  tav_->OptOut();
  Initialize();
  Report("opted-out", 100);
  Stop();
  reported_.clear();
  UseGateway(GatewayUrl());
  tav_->OptOut();
  Initialize();
  tav_->Commit();
  EXPECT_EQ(GatewayCount("records"), 1);
  ExpectArrived(reported_);
}

}  // namespace
}  // namespace Tav::Testing
