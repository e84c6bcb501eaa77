// Other programs hold the storage files: at the start, during the run, until its end.
#include <algorithm>
#include <atomic>
#include <ctime>
#include <fstream>
#include <memory>
#include <string>

#include "support/held_file.h"
#include "system/host.h"

namespace Tav::Testing {
namespace {

class LockedStorageTest : public HostTest {
 protected:
  std::filesystem::path MainFile() const { return Folder() / "TavData"; }
  std::filesystem::path Timestamps() const { return Folder() / "TsTavData"; }

  // Only Commit sends.
  void InitializeUnsent() {
    tav_->SetSendInterval(0xFFFFFFFF, TAV_UNIT_SECONDS);
    Initialize();
  }
  void PutDays() const {
    std::ofstream(Timestamps(), std::ios::binary)
        << R"({"Products":[{"Name":"System.Test","Version":"1.0","Platform":"wntx64",)"
        << R"("LastActive":20000.0,"LastServerAccess":20001.0}],"LastClientQuery":)" << Today()
        << ".0}";
  }
  static int32_t Today() { return static_cast<int32_t>(std::time(nullptr) / 86400); }
  void Log(const char* name) { tav_->LogEvent(tav_->NewEvent(name)); }

  // Empty until the settings have been read.
  std::string Endpoint() const {
    char id[64] = "";
    tav_->GetEndpointIdentifier(id, sizeof id);
    return id;
  }
};

TEST_F(LockedStorageTest, StoredSettingsApplyToWhatWasReportedBeforeTheyCouldBeRead) {
  Initialize();
  tav_->Suspend();
  Log("carried");
  const std::unique_ptr<char, decltype(tav_->FreeData)> block(tav_->PullData(), tav_->FreeData);
  ASSERT_NE(block, nullptr);
  Stop();
  UseGateway("");  // the stored one is used
  for (const Hold hold : {Hold::Locked, Hold::NotShared}) {
    ResetGateway();
    PutSettings(R"({"gateway":")" + GatewayUrl() + R"("},"Inhibit":["secret"])");
    HeldFile held(MainFile(), hold);
    Initialize();
    Log("secret");
    Log("plain");
    EXPECT_EQ(tav_->Commit(), 1);
    EXPECT_EQ(tav_->PullData(), nullptr);
    tav_->PushData(block.get());
    EXPECT_EQ(Endpoint(), "");
    EXPECT_EQ(GatewayCount("requests"), 0);
    held.Release();
    EXPECT_TRUE(Eventually([] { return TimesArrived("plain") == 1; }));
    EXPECT_EQ(Endpoint().size(), 40u);
    Log("later");
    Stop();
    ExpectArrived({"carried", "plain", "later"});
  }
}

TEST_F(LockedStorageTest, AProductThatIsSwitchedOffSendsNothing) {
  PutDays();
  PutSettings(R"({"disabled":1.0})");
  HeldFile held(MainFile());
  Initialize();
  Log("one");
  EXPECT_EQ(tav_->Commit(), 1);
  EXPECT_EQ(tav_->GetLastActiveTime(), 20000);
  held.Release();
  EXPECT_TRUE(Eventually([this] { return !Endpoint().empty(); }));
  Log("two");
  EXPECT_EQ(tav_->Commit(), 1);
  Stop();
  EXPECT_EQ(GatewayCount("requests"), 0);
  EXPECT_TRUE(CacheFiles().empty());
}

std::atomic<int> stillLocked{0};

void TAV_CALL CountStillLocked(const char* line) {
  stillLocked +=
      std::string(line).starts_with("warning: SM: The storage file is still locked.") ? 1 : 0;
}

TEST_F(LockedStorageTest, ARunThatNeverReadsItsSettingsCachesEverything) {
  tav_->SetMessageSink(TavSinkPointer(CountStillLocked));
  PutSettings(R"({"flush_time":10.0})");
  HeldFile held(MainFile());
  Initialize();
  Log("one");
  tav_->AddProductInfo("Edition", "Pro");
  EXPECT_EQ(tav_->Commit(), 1);
  Log("two");
  Stop();
  tav_->SetMessageSink(nullptr);
  EXPECT_EQ(stillLocked.exchange(0), 1);
  EXPECT_EQ(GatewayCount("requests"), 0);
  EXPECT_FALSE(CacheFiles().empty());
  held.Release();
  RunOnce("three");
  ExpectArrived({"one", "two", "three"});
  Lines environments;
  for (const JsonPtr& record : Records()) {
    environments.push_back(Member(record, "pe"));
  }
  EXPECT_EQ(std::count(environments.begin(), environments.end(),
                       R"({"Edition":"Pro","std-Incremental":"true"})"),
            1);
}

TEST_F(LockedStorageTest, WhatWasSentWhileTheFileWasLockedIsNotSentAgain) {
  InitializeUnsent();
  EXPECT_FALSE(Endpoint().empty());
  HeldFile held(MainFile());
  EXPECT_EQ(tav_->Commit(), 0);
  held.Release();
  Stop();
  ASSERT_EQ(Records().size(), 1u);
  RunOnce("next");
  for (size_t i = 1; i < Records().size(); ++i) {
    EXPECT_EQ(Member(Records()[i], "pe"), "");
  }
}

TEST_F(LockedStorageTest, DaysAreLoadedAndStoredAsSoonAsTheFileOpens) {
  const int32_t begin = Today();
  PutDays();
  {
    HeldFile held(Timestamps());
    InitializeUnsent();
    EXPECT_EQ(tav_->GetLastActiveTime(), 0);  // not known yet
    EXPECT_EQ(tav_->Commit(), 0);
    held.Release();
    EXPECT_EQ(tav_->GetLastActiveTime(), 20000);
    EXPECT_GE(tav_->GetLastServerAccessTime(), begin);
  }
  Stop();
  InitializeUnsent();
  EXPECT_GE(tav_->GetLastActiveTime(), begin);
  EXPECT_GE(tav_->GetLastServerAccessTime(), begin);
}

TEST_F(LockedStorageTest, ADayThatCouldNotBeStoredAtOnceIsStoredLater) {
  InitializeUnsent();
  EXPECT_EQ(tav_->GetLastServerAccessTime(), 0);
  {
    const HeldFile held(Timestamps());
    EXPECT_EQ(tav_->Commit(), 0);
  }
  Stop();
  InitializeUnsent();
  EXPECT_GT(tav_->GetLastServerAccessTime(), 20000);
}

}  // namespace
}  // namespace Tav::Testing
