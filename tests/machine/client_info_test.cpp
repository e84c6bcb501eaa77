#include "machine/client_info.h"

#include <algorithm>
#include <vector>

#include "platform/thread.h"
#include "storage/storage_fixture.h"
#include "support/fake_wmi.h"
#include "util/time_stamp.h"

namespace Tav {
namespace {

using namespace Testing;
using Platform::WaitResult;
using Platform::WmiStep;

constexpr int kMaxWait = 10000;  // milliseconds

class ClientInfoTest : public StorageTest {
 protected:
  ClientInfoTest() {
    script_->rows = {{"Win32_ComputerSystem", {{{"TotalPhysicalMemory", "8589934592"}}}},
                     {"Win32_Processor", {{{"Name", "P"}}, {{"Name", "P"}}}},
                     {"Win32_VideoController", {{{"Name", "V"}, {"DriverVersion", "array"}}}}};
  }

  std::unique_ptr<FakeWmi> Source() { return std::make_unique<FakeWmi>(script_); }
  static int64_t Today() { return CurrentTime() / 86400; }
  void PutStamp(int64_t day) {
    folder_.Put("TsTavData",
                R"({"Products": [], "LastClientQuery": )" + std::to_string(day) + ".0}");
  }
  int64_t Stamp() {
    storage_.OpenTimestamps(Access::Read);
    return static_cast<int64_t>(ClientView(&storage_).GetValue("LastClientQuery").number);
  }
  bool Changed(const ClientInfo& info) {
    storage_.Open(Access::Read);
    return info.IsChanged(&storage_);
  }
  static bool Has(const ClientInfo& info, const char* label) {
    return info.GetClientEnv().contains(label);
  }

  std::shared_ptr<FakeWmi::Script> script_ = std::make_shared<FakeWmi::Script>();
};

TEST_F(ClientInfoTest, ADescriptionIsDueAfterEightDays) {
  for (const double recent : {20000.0, 19993.0, 20005.0, 1e300}) {
    EXPECT_FALSE(IsCollectionDue(EnvValue::Number(recent), 20000)) << recent;
  }
  for (const double old : {19992.0, 0.0, -1e300}) {
    EXPECT_TRUE(IsCollectionDue(EnvValue::Number(old), 20000)) << old;
  }
  EXPECT_TRUE(IsCollectionDue(EnvValue::String("20000"), 20000));
  EXPECT_TRUE(IsCollectionDue(EnvValue(), 20000));
}

TEST_F(ClientInfoTest, ADayFromTheFutureCountsAsTodayAndIsStoredAgain) {
  const int64_t before = Today();
  for (const int64_t ahead : {int64_t{1}, int64_t{27000}, int64_t{1'000'000'000'000}}) {
    PutStamp(Today() + ahead);
    ClientInfo info(Source());
    EXPECT_TRUE(info.Collect());
    EXPECT_FALSE(info.Pending());
    EXPECT_FALSE(Has(info, "OsName"));
    EXPECT_GE(Stamp(), before);
    EXPECT_LE(Stamp(), Today());
  }
}

TEST_F(ClientInfoTest, TheDayIsThatOfACompleteDescriptionOrOfAnotherProcess) {
  const int64_t today = Today();
  // Machines without WMI have nothing to wait for.
  script_->failedStep = WmiStep::Connect;
  PutStamp(today - 8);
  ClientInfo failed(Source());
  failed.Collect();
  EXPECT_EQ(Stamp(), today - 8);
  ASSERT_TRUE(failed.Finish(kMaxWait));
  EXPECT_EQ(Stamp(), today);
  ASSERT_EQ(script_->entered.Wait(kMaxWait), WaitResult::Signalled);
  ASSERT_EQ(script_->destroyed.Wait(kMaxWait), WaitResult::Signalled);

  script_->stuck = true;
  PutStamp(today - 8);
  ClientInfo abandoned(Source());
  abandoned.Collect();
  PutStamp(today - 1);
  abandoned.Abandon();
  EXPECT_EQ(Stamp(), today - 1);
  ASSERT_EQ(script_->entered.Wait(kMaxWait), WaitResult::Signalled);
  script_->release.Set();
  ASSERT_EQ(script_->destroyed.Wait(kMaxWait), WaitResult::Signalled);
}

TEST_F(ClientInfoTest, IsChangedUntilTheStorageHoldsAllOfIt) {
  script_->timeOuts = 3;
  ClientInfo info(Source());
  info.Collect();
  ASSERT_TRUE(info.Finish(kMaxWait));
  EXPECT_FALSE(info.Pending());
  const ClientEnv& env = info.GetClientEnv();
  EXPECT_TRUE(Has(info, "OsName"));
  EXPECT_EQ(env.at("Physical Memory"), "8 GB");
  EXPECT_EQ(env.at("Processors.Processor2 Name"), "P");
  // Only the value that cannot be read is missing.
  EXPECT_EQ(env.at("Video Cards.Video Card1 Name"), "V");
  EXPECT_FALSE(Has(info, "Video Cards.Video Card1 Driver Version"));
  EXPECT_EQ(log_.Find("Variant Type not supported"), "Variant Type not supported: 8192");
  EXPECT_NE(log_.Find("Failed to get field value "), "");

  folder_.Put("TavData", R"({"Products": [], "Stale": "stays"})");
  EXPECT_TRUE(Changed(info));
  Change([&] { info.PersistClientInfo(&storage_); });
  EXPECT_FALSE(Changed(info));
  EXPECT_NE(folder_.Contents("TavData").find("\"Stale\": \"stays\""), std::string::npos);

  Change([&] { ClientView(&storage_).SetValue("Physical Memory", "4 GB"); });
  EXPECT_TRUE(Changed(info));
  info.LogClientEnv();
  EXPECT_NE(log_.Find("CI: Client Env: "), "");
}

TEST_F(ClientInfoTest, AFailureOfWmiLeavesTheRestInPlace) {
  const std::pair<WmiStep, const char*> steps[] = {
      {WmiStep::Initialize, "Failed to initialize COM library. Error code = -5"},
      {WmiStep::CreateLocator, "Failed to create IWbemLocator object. Error code = -5"},
      {WmiStep::Connect, "Could not connect. Error code = -5"},
      {WmiStep::SetSecurity, "Could not set proxy blanket. Error code = -5"},
      {WmiStep::None, "Executed WMI query failed. Error code = -7"},
  };
  script_->failedQuery = "Win32_ComputerSystem";  // the last one, after all rows of the others
  for (const auto& [step, message] : steps) {
    script_->failedStep = step;
    PutStamp(0);
    ClientInfo info(Source());
    info.Collect();
    ASSERT_TRUE(info.Finish(kMaxWait));
    EXPECT_TRUE(Has(info, "OsName"));
    EXPECT_FALSE(Has(info, "Processors.Processor1 Name"));
    EXPECT_TRUE(Changed(info));
    const std::vector<std::string> lines = log_.Take();
    const auto found = std::find(lines.begin(), lines.end(), message);
    ASSERT_NE(found, lines.end()) << message;
    EXPECT_EQ(*(found + 1) == "Failed to set up WMI via COM", step != WmiStep::None) << message;
    EXPECT_EQ(std::count(found, lines.end(), "Failed to query WMI for Client environment data"), 1);
  }
}

TEST_F(ClientInfoTest, AWmiThreadThatHangsCanBeAbandoned) {
  script_->stuck = true;
  auto info = std::make_unique<ClientInfo>(Source());
  info->Collect();
  ASSERT_EQ(script_->entered.Wait(kMaxWait), WaitResult::Signalled);
  EXPECT_FALSE(info->Finish(0));
  EXPECT_FALSE(info->Finish(20));
  EXPECT_TRUE(info->Pending());
  // An incomplete description is not shown, or it would be sent twice.
  EXPECT_TRUE(info->GetClientEnv().empty());
  EXPECT_FALSE(Changed(*info));

  info->Abandon();
  EXPECT_TRUE(Has(*info, "OsName"));
  EXPECT_FALSE(Has(*info, "Physical Memory"));
  EXPECT_TRUE(Changed(*info));
  info.reset();
  EXPECT_EQ(script_->destroyed.Wait(0), WaitResult::TimedOut);

  // The detached thread ends by itself and logs nothing.
  log_.Take();
  script_->release.Set();
  EXPECT_EQ(script_->destroyed.Wait(kMaxWait), WaitResult::Signalled);
  EXPECT_TRUE(log_.Take().empty());
}

TEST_F(ClientInfoTest, AbandoningKeepsResultsThatAreThere) {
  ClientInfo info(Source());
  info.Collect();
  ASSERT_EQ(script_->destroyed.Wait(kMaxWait), WaitResult::Signalled);
  info.Abandon();
  EXPECT_TRUE(Has(info, "Physical Memory"));
}

TEST_F(ClientInfoTest, ADetachedThreadStopsWaitingForRows) {
  script_->silent = true;
  auto info = std::make_unique<ClientInfo>(Source());
  info->Collect();
  ASSERT_EQ(script_->entered.Wait(kMaxWait), WaitResult::Signalled);
  info.reset();
  EXPECT_EQ(script_->destroyed.Wait(kMaxWait), WaitResult::Signalled);
}

TEST_F(ClientInfoTest, OneMonitorIsThePrimaryAndSeveralHaveTheirOwnSizes) {
  const auto keysOf = [](const Platform::Monitors& monitors) {
    ClientEnv env;
    AddMonitorKeys(monitors, env);
    return env;
  };
  EXPECT_EQ(keysOf({1, 1920, 1080, {}}),
            (ClientEnv{{"Monitors.Monitor1 Resolution", "1920 x 1080"},
                       {"Number of Monitors", "1"},
                       {"Primary Monitor Resolution", "1920 x 1080"}}));
  EXPECT_EQ(keysOf({2, 1920, 1080, {{2560, 1440}, {1920, 1080}}}),
            (ClientEnv{{"Monitors.Monitor1 Resolution", "2560 x 1440"},
                       {"Monitors.Monitor2 Resolution", "1920 x 1080"},
                       {"Number of Monitors", "2"},
                       {"Primary Monitor Resolution", "1920 x 1080"}}));
  EXPECT_EQ(keysOf({0, 0, 0, {}}), (ClientEnv{{"Number of Monitors", "0"}}));
}

TEST_F(ClientInfoTest, DescribesTheSystemOfAnyMachine) {
  for (const char* const meaningless : {"", "C", "POSIX", "en_"}) {
    EXPECT_EQ(MeaningfulLocale(meaningless), "en_US");
  }
  EXPECT_EQ(MeaningfulLocale("de_"), "de_");

  ClientEnv env;
  AddOsKeys(env);
  EXPECT_EQ(env["OsName"], "Windows");
  EXPECT_EQ(env["OsArch"], "x86_64");
  EXPECT_NE(env["OsVersion"].find('.'), std::string::npos);
  EXPECT_EQ(env["OsBuildNumber"].find_first_not_of("0123456789"), std::string::npos);
  EXPECT_GE(env["OsLocale"].find('_'), 2U);
  EXPECT_EQ("UTC" + LocalTimeStamp().substr(23), env["TZ"]);
  EXPECT_TRUE(env["TZ"] == "UTCZ" || env["TZ"].size() == 9) << env["TZ"];
  EXPECT_TRUE(env["Virtual"] == "Yes" || env["Virtual"] == "No");
  EXPECT_EQ(env.size(), 7U);
}

}  // namespace
}  // namespace Tav
