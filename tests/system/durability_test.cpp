// What a host has reported outlives a gateway that is away, a gateway that never answers, and the
// process; and what a user has opted out of does not.
#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "system/host.h"

namespace Tav::Testing {
namespace {

using Clock = std::chrono::steady_clock;

class Durability : public HostTest {
 protected:
  // Names of their own, so that each event can be told from every other.
  void Report(const std::string& prefix, int count) {
    for (int i = 0; i < count; ++i) {
      reported_.push_back(prefix + '.' + std::to_string(i));
      TavEvent_s* const event = tav_->NewEvent(reported_.back().c_str());
      tav_->AddEventProperty(event, "Diary", "dear diary");
      tav_->LogEvent(event);
    }
  }

  void PutSettings(const std::string& settings) const {
    std::ofstream(Folder() / "TavData", std::ios::binary)
        << R"({"Products":[{"Name":"System.Test","Version":"1.0","Platform":"wntx64","Settings":)"
        << settings << "}]}";
  }

  std::vector<std::string> CacheFiles() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with("TavCache_")) {
        names.push_back(name);
      }
    }
    return names;
  }

  // Everything in the folder, one file after the other.
  std::string FolderContents() const {
    std::string contents;
    for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
      std::ifstream file(entry.path(), std::ios::binary);
      contents.append(std::istreambuf_iterator<char>(file), {});
    }
    return contents;
  }

  void ExpectEverythingArrivedOnce() const {
    Arrivals arrivals;
    arrivals.Collect();
    arrivals.ExpectOnce(reported_);
    EXPECT_EQ(arrivals.All().size(), reported_.size());
    EXPECT_EQ(GatewayCount("bad_records"), 0);
    EXPECT_EQ(GatewayCount("doubled_records"), 0);
  }

  std::vector<std::string> reported_;
};

TEST_F(Durability, ThreeRunsWithoutAGatewayArriveInTheFourth) {
  UseGateway(kNobody);
  for (const char* run : {"first", "second", "third"}) {
    Initialize();
    Report(run, 100);
    tav_->Terminate();
    EXPECT_FALSE(CacheFiles().empty()) << run;
  }
  UseGateway(GatewayUrl());
  Initialize();
  Report("fourth", 100);
  EXPECT_EQ(tav_->Commit(), 0);
  EXPECT_TRUE(CacheFiles().empty());
  ExpectEverythingArrivedOnce();
}

TEST_F(Durability, AGatewayThatNeverAnswersLeavesEverythingInTheCache) {
  constexpr std::chrono::seconds kTerminateTime{3};
  constexpr std::chrono::seconds kSlack{4};
  PutSettings(R"({"terminate_time":3.0})");
  Initialize();
  tav_->GetLastActiveTime();  // the settings have been read
  TellGateway("api/faults", R"({"kind":"hang","count":100})");
  Report("unheard", 200);
  const Clock::time_point begin = Clock::now();
  tav_->Terminate();
  EXPECT_LT(Clock::now() - begin, kTerminateTime + kSlack);
  EXPECT_FALSE(CacheFiles().empty());
  ResetGateway();
  Initialize();
  Report("heard", 1);
  tav_->Terminate();
  EXPECT_TRUE(CacheFiles().empty());
  ExpectEverythingArrivedOnce();
}

TEST_F(Durability, OptingOutDeletesWhatWaitsAndSendsNothingElse) {
  const auto expectNoTrace = [this] {
    const std::string contents = FolderContents();
    for (const char* text : {"diary", "Diary", "secret", "Trial", "opted-in", "opted-out"}) {
      EXPECT_EQ(contents.find(text), std::string::npos) << text;
    }
  };
  UseGateway(kNobody);
  tav_->AddProductInfo("Place", "secret");
  tav_->AddSessionEnvInfo("Licence", "Trial");
  Initialize();
  Report("opted-in", 100);
  tav_->Terminate();
  ASSERT_FALSE(CacheFiles().empty());

  UseGateway(GatewayUrl());
  tav_->OptOut();
  tav_->AddProductInfo("Place", "secret");
  tav_->AddSessionEnvInfo("Licence", "Trial");
  Initialize();
  tav_->GetLastActiveTime();  // the start is over
  EXPECT_TRUE(CacheFiles().empty());
  Report("opted-out", 100);
  tav_->LogPlace("diary");
  tav_->Commit();
  Report("opted-out again", 100);
  tav_->Terminate();
  EXPECT_TRUE(CacheFiles().empty());
  expectNoTrace();

  const JsonPtr records = AskGateway("api/records");
  ASSERT_EQ(json_array_size(records.Get()), 1u);
  EXPECT_EQ(GatewayCount("events"), 0);
  EXPECT_EQ(GatewayCount("bad_records"), 0);
  const json_t* const record = json_object_get(json_array_get(records.Get(), 0), "record");
  const json_t* const environment = json_object_get(record, "pe");
  EXPECT_EQ(json_object_get(record, "rt"), nullptr);
  EXPECT_EQ(json_object_get(record, "ce"), nullptr);
  EXPECT_EQ(json_object_size(environment), 3u) << "these two and the time";
  EXPECT_EQ(JsonStringView(json_object_get(environment, "std-OptOut")), "true");
  EXPECT_EQ(JsonStringView(json_object_get(environment, "std-Incremental")), "true");
}

TEST_F(Durability, AnOptedOutRunWithoutAGatewayStoresNoEvent) {
  UseGateway(kNobody);
  tav_->OptOut();
  Initialize();
  Report("opted-out", 100);
  tav_->Terminate();
  reported_.clear();
  UseGateway(GatewayUrl());
  tav_->OptOut();
  Initialize();
  tav_->Commit();
  EXPECT_EQ(GatewayCount("records"), 1);
  ExpectEverythingArrivedOnce();
}

}  // namespace
}  // namespace Tav::Testing
