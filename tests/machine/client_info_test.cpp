#include "machine/client_info.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "machine/client_monitors.h"
#include "machine/client_os.h"
#include "machine/fake_wmi.h"
#include "storage/storage_views.h"
#include "support/storage_folder.h"
#include "util/time_stamp.h"

namespace Tav {
namespace {

using ClientView = PersistentStorage::ClientView;
using Platform::WmiStep;
using Testing::FakeWmi;

ClientEnv KeysOf(int category, std::vector<WmiRow> rows) {
  WmiQuery query = MakeWmiQuery(category).value();
  query.rows = std::move(rows);
  ClientEnv env;
  AddWmiKeys(query, env);
  return env;
}

TEST(ClientWmi, AsksForWhatItShows) {
  std::vector<std::string> texts;
  for (const WmiQuery& query : MakeWmiQueries()) {
    texts.push_back(query.text);
  }
  EXPECT_EQ(texts,
            (std::vector<std::string>{
                "SELECT Name,DriverVersion FROM Win32_VideoController",
                "SELECT Model,Size,MediaType FROM Win32_DiskDrive",
                "SELECT Manufacturer,Name,Description,NumberOfCores FROM Win32_Processor",
                "SELECT NumberOfProcessors,NumberOfLogicalProcessors,TotalPhysicalMemory FROM "
                "Win32_ComputerSystem"}));
  EXPECT_FALSE(MakeWmiQuery(4) || MakeWmiQuery(-1));
}

TEST(ClientWmi, RowsWithoutInterestAreDroppedWholeAndNotCounted) {
  const WmiRow good{{"Model", "M"}, {"Size", "500107862016"}, {"MediaType", "Fixed"}};
  const auto with = [&](const char* name, const char* value) {
    WmiRow row = good;
    row[name] = value;
    return row;
  };
  EXPECT_EQ(KeysOf(kWmiDiskDrives, {with("MediaType", "Removable Media"),
                                    with("Size", "0"),
                                    with("Size", "none"),
                                    with("Size", "-1"),
                                    with("Model", ""),
                                    with("Serial", "1"),
                                    good,
                                    {},
                                    {{"Model", "Second"}}}),
            (ClientEnv{{"Disk Drives.Disk Drive1 Media Type", "Fixed"},
                       {"Disk Drives.Disk Drive1 Model", "M"},
                       {"Disk Drives.Disk Drive1 Size", "466 GB"},
                       {"Disk Drives.Disk Drive2 Model", "Second"}}));
  EXPECT_EQ(KeysOf(kWmiVideoCards, {{{"Name", "VNC Mirror Driver"}, {"DriverVersion", "1"}},
                                    {{"Name", "Card"}, {"DriverVersion", "2"}}}),
            (ClientEnv{{"Video Cards.Video Card1 Driver Version", "2"},
                       {"Video Cards.Video Card1 Name", "Card"}}));
  // An exclusion holds for its own property.
  EXPECT_EQ(KeysOf(kWmiProcessors, {{{"Name", "Removable Media"}, {"NumberOfCores", "0"}}}),
            (ClientEnv{{"Processors.Processor1 Name", "Removable Media"},
                       {"Processors.Processor1 Number of Cores", "0"}}));
}

TEST(ClientWmi, SizesHaveUnitsAndTheComputerHasNoPrefix) {
  const std::pair<const char*, const char*> sizes[] = {
      {"2047", "2047 Bytes"}, {"1536000", "1500 KB"},   {"2097152", "2 MB"},
      {"8589934592", "8 GB"}, {"17179869184", "16 GB"}, {"2199023255552", "2 TB"},
      {"2684354560", "3 GB"}};
  for (const auto& [bytes, text] : sizes) {
    EXPECT_EQ(KeysOf(kWmiComputerSystem, {{{"TotalPhysicalMemory", bytes}}}),
              (ClientEnv{{"Physical Memory", text}}));
  }
  EXPECT_EQ(KeysOf(kWmiComputerSystem,
                   {{{"NumberOfProcessors", "2"}, {"NumberOfLogicalProcessors", "16"}}}),
            (ClientEnv{{"Number of Logical Processors", "16"}, {"Number of Processors", "2"}}));
}

TEST(ClientMonitors, OneIsThePrimaryAndSeveralHaveTheirOwnSizes) {
  ClientEnv env;
  AddMonitorKeys({1, 1920, 1080, {}}, env);
  EXPECT_EQ(env, (ClientEnv{{"Monitors.Monitor1 Resolution", "1920 x 1080"},
                            {"Number of Monitors", "1"},
                            {"Primary Monitor Resolution", "1920 x 1080"}}));
  env.clear();
  AddMonitorKeys({2, 1920, 1080, {{2560, 1440}, {1920, 1080}}}, env);
  EXPECT_EQ(env, (ClientEnv{{"Monitors.Monitor1 Resolution", "2560 x 1440"},
                            {"Monitors.Monitor2 Resolution", "1920 x 1080"},
                            {"Number of Monitors", "2"},
                            {"Primary Monitor Resolution", "1920 x 1080"}}));
  env.clear();
  AddMonitorKeys({0, 0, 0, {}}, env);
  EXPECT_EQ(env, (ClientEnv{{"Number of Monitors", "0"}}));
}

TEST(ClientOs, SaysSomethingAboutEveryMachine) {
  for (const char* const useless : {"", "C", "POSIX", "en_"}) {
    EXPECT_EQ(MeaningfulLocale(useless), "en_US");
  }
  EXPECT_EQ(MeaningfulLocale("de_"), "de_");
  EXPECT_EQ(MeaningfulLocale("de_AT"), "de_AT");

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

class ClientInfoTest : public testing::Test {
 protected:
  ClientInfoTest() {
    script_->rows = {{"Win32_ComputerSystem", {{{"TotalPhysicalMemory", "8589934592"}}}},
                     {"Win32_Processor", {{{"Name", "P"}}, {{"Name", "P"}}}},
                     {"Win32_VideoController", {{{"Name", "V"}, {"DriverVersion", "array"}}}}};
  }

  std::unique_ptr<FakeWmi> Service() { return std::make_unique<FakeWmi>(script_); }
  int64_t Today() const { return CurrentTime() / 86400; }
  void PutStamp(const std::string& value) {
    folder_.Put("TsTavData", R"({"Products": [], "LastClientQuery": )" + value + "}");
  }
  // Whether a start-up collects now.
  bool Collects() {
    script_->gone = false;
    ClientInfo info(Service());
    info.Collect();
    EXPECT_TRUE(info.Finish(10000));
    return !info.GetClientEnv().empty();
  }
  bool Changed(const ClientInfo& info) {
    storage_.Open(PersistentStorage::Access::Read);
    const bool changed = info.IsChanged(&storage_);
    storage_.Close(PersistentStorage::Changes::Discard);
    return changed;
  }
  static bool HasHardware(const ClientInfo& info) {
    return info.GetClientEnv().contains("Physical Memory");
  }
  static bool HasSystem(const ClientInfo& info) { return info.GetClientEnv().contains("OsName"); }

  Testing::CapturedLog log_;
  Testing::StorageFolder folder_;
  PersistentStorage storage_;
  std::shared_ptr<FakeWmi::Script> script_ = std::make_shared<FakeWmi::Script>();
};

TEST_F(ClientInfoTest, CollectsAtMostOnceInEightDays) {
  EXPECT_TRUE(Collects());  // no file yet
  const std::string stamp = "\"LastClientQuery\": " + std::to_string(Today()) + ".0";
  EXPECT_NE(folder_.Contents("TsTavData").find(stamp), std::string::npos);
  EXPECT_FALSE(Collects());

  const std::pair<std::string, bool> cases[] = {
      {std::to_string(Today() - 7), false},
      {std::to_string(Today() - 8), true},
      {std::to_string(Today() + 5), false},
      {"1e300", false},
      {"-1e300", true},
      {"\"today\"", true},
      {"[]", true},
  };
  for (const auto& [value, collects] : cases) {
    PutStamp(value);
    const std::string before = folder_.Contents("TsTavData");
    EXPECT_EQ(Collects(), collects) << value;
    EXPECT_EQ(folder_.Contents("TsTavData") != before, collects) << value;
  }
}

TEST_F(ClientInfoTest, IsChangedUntilTheStorageHoldsAllOfIt) {
  script_->timeOuts = 3;
  ClientInfo info(Service());
  info.Collect();
  ASSERT_TRUE(info.Finish(10000));
  EXPECT_FALSE(info.Pending());
  const ClientEnv& env = info.GetClientEnv();
  EXPECT_TRUE(HasSystem(info));
  EXPECT_EQ(env.at("Physical Memory"), "8 GB");
  EXPECT_EQ(env.at("Processors.Processor2 Name"), "P");
  // What cannot be read is left out, and nothing else with it.
  EXPECT_EQ(env.at("Video Cards.Video Card1 Name"), "V");
  EXPECT_FALSE(env.contains("Video Cards.Video Card1 Driver Version"));
  EXPECT_EQ(log_.Find("Variant Type not supported"), "Variant Type not supported: 8192");
  EXPECT_NE(log_.Find("Failed to get field value "), "");

  folder_.Put("TavData", R"({"Products": [], "Stale": "stays"})");
  EXPECT_TRUE(Changed(info));
  storage_.Open(PersistentStorage::Access::Update);
  info.PersistClientInfo(&storage_);
  storage_.CloseAndSave();
  EXPECT_FALSE(Changed(info));
  EXPECT_NE(folder_.Contents("TavData").find("\"Stale\": \"stays\""), std::string::npos);

  storage_.Open(PersistentStorage::Access::Update);
  ClientView(&storage_).SetValue("Physical Memory", "4 GB");
  storage_.CloseAndSave();
  EXPECT_TRUE(Changed(info));
  log_.Take();
  info.LogClientEnv();
  EXPECT_EQ(log_.Take().front().find("CI: Client Env: "), 0U);
}

TEST_F(ClientInfoTest, WithoutACollectionThereIsNothingToSend) {
  PutStamp(std::to_string(Today()));
  ClientInfo info(Service());
  EXPECT_FALSE(Changed(info));
  info.Collect();
  EXPECT_FALSE(info.Pending());
  EXPECT_TRUE(info.Finish(10000));
  EXPECT_TRUE(info.GetClientEnv().empty());
  EXPECT_FALSE(Changed(info));
  EXPECT_EQ(log_.Find("CI: Check if changed"), "");
}

TEST_F(ClientInfoTest, AServiceThatFailsLeavesTheRestInPlace) {
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
    PutStamp("0");
    ClientInfo info(Service());
    info.Collect();
    ASSERT_TRUE(info.Finish(10000));
    EXPECT_TRUE(HasSystem(info));
    EXPECT_FALSE(info.GetClientEnv().contains("Processors.Processor1 Name"));
    EXPECT_TRUE(Changed(info));
    std::vector<std::string> lines = log_.Take();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("PS: "); });
    const auto told = std::find(lines.begin(), lines.end(), message);
    ASSERT_NE(told, lines.end()) << message;
    EXPECT_EQ(*(told + 1) == "Failed to set up WMI via COM", step != WmiStep::None) << message;
    EXPECT_EQ(std::count(told, lines.end(), "Failed to query WMI for Client environment data"), 1);
  }
}

TEST_F(ClientInfoTest, AServiceThatHangsIsWaitedForOnlyAsLongAsAskedFor) {
  script_->stuck = true;
  auto info = std::make_unique<ClientInfo>(Service());
  info->Collect();
  ASSERT_EQ(script_->entered.Wait(10000), Platform::WaitResult::Signalled);
  EXPECT_FALSE(info->Finish(0));
  EXPECT_FALSE(info->Finish(20));
  EXPECT_TRUE(info->Pending());
  // Half a description would be sent twice.
  EXPECT_TRUE(info->GetClientEnv().empty());
  EXPECT_FALSE(Changed(*info));

  info->Abandon();
  EXPECT_TRUE(HasSystem(*info));
  EXPECT_FALSE(HasHardware(*info));
  EXPECT_TRUE(Changed(*info));
  info.reset();
  EXPECT_FALSE(script_->gone);

  // The thread that was left behind ends by itself, says nothing, and does no more than it must.
  log_.Take();
  script_->release.Set();
  EXPECT_TRUE(script_->GoneSoon());
  EXPECT_TRUE(log_.Take().empty());
}

TEST_F(ClientInfoTest, AnAnswerThatHasComeIsNotAbandoned) {
  script_->stuck = true;
  ClientInfo info(Service());
  info.Collect();
  script_->release.Set();
  ASSERT_TRUE(script_->GoneSoon());
  info.Abandon();
  EXPECT_TRUE(HasHardware(info));
}

TEST_F(ClientInfoTest, AThreadLeftBehindStopsAskingForRows) {
  script_->silent = true;
  {
    ClientInfo info(Service());
    info.Collect();
    EXPECT_FALSE(info.Finish(20));
  }
  EXPECT_TRUE(script_->GoneSoon());
}

}  // namespace
}  // namespace Tav
