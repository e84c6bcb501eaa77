#include <filesystem>
#include <string>

#include "api/library.h"
#include "platform/set_environment.h"
#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

class TuningTest : public TableTest {
 protected:
  // The value that the start-up banner shows behind `label`.
  std::string Banner(const std::string& label) {
    const std::string banner = LineWith("ANALYTICS SDK VERSION");
    const size_t start = banner.find(label);
    if (start == std::string::npos) {
      return {};
    }
    const size_t value = banner.find_first_not_of(' ', start + label.size());
    return banner.substr(value, banner.find('\n', value) - value);
  }

  // The names of the cache files up to the product's hash.
  Lines CacheFiles() const {
    Lines kinds;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path(""))) {
      const std::string name = entry.path().filename().string();
      if (name.find("Cache_") != std::string::npos) {
        kinds.push_back(name.substr(0, name.find('_')));
      }
    }
    return kinds;
  }
};

TEST_F(TuningTest, IntervalsAndSizesReachTheNextRun) {
  tav.SetSendInterval(5, TAV_UNIT_SECONDS);
  ExpectLogged("TavSetSendInterval: sendInterval = 5 seconds");
  tav.SetSendInterval(6, 4);
  ExpectLogged("TavSetSendInterval: sendInterval = 6 seconds");
  tav.SetSendInterval(1, TAV_UNIT_DAYS);
  ExpectLogged("TavSetSendInterval: sendInterval = 86400 seconds");
  tav.SetSendInterval(3, TAV_UNIT_MINUTES);
  ExpectLogged("TavSetSendInterval: sendInterval = 180 seconds");
  tav.SetSendInterval(2, TAV_UNIT_HOURS);
  tav.SetCacheSize(7);
  tav.SetSendThreshold(1);
  ExpectLogged("TavSetSendThreshold: sendThreshold = 1048576 bytes");
  tav.EnablePersistentInterval();
  // Refused, and the values before stay.
  tav.SetCacheSize(0);
  tav.SetSendThreshold(-1);
  EXPECT_EQ(Complaints(), (Lines{"error: Tav: Invalid cache size",
                                 "warning: TavSetSendThreshold: Invalid size"}));
  Start();
  EXPECT_EQ(tav.Commit(), 0);
  EXPECT_EQ(Banner("Send interval (seconds):"), "7200");
  EXPECT_EQ(Banner("Max cache files:"), "7");
  EXPECT_EQ(Banner("Send threshold (bytes):"), "1048576");
  EXPECT_EQ(Banner("Persistent interval enabled:"), "1");
}

TEST_F(TuningTest, SizesTooLargeForTheirUnitWrap) {
  tav.SetCacheSize(2048);
  tav.SetSendThreshold(2048);
  tav.SetSendInterval(0x80000000u, TAV_UNIT_SECONDS);
  EXPECT_EQ(GetLibrary().config.cacheSize, -2048);
  EXPECT_EQ(GetLibrary().config.sendThreshold, INT32_MIN);
  EXPECT_EQ(GetLibrary().config.sendInterval, INT32_MIN);
  tav.SetSendInterval(49711, TAV_UNIT_DAYS);
  EXPECT_EQ(GetLibrary().config.sendInterval, 63104);
}

TEST_F(TuningTest, IdentifiersAndTagsStandInEveryRecord) {
  tav.SetCustomerIdentifier(" Customer \xE9 ");  // Latin-1
  tav.SetUserIdentifier("\tjane.doe@example.com ");
  tav.SetProductContext("Context");
  tav.SetProductComponentName("Component");
  tav.AddTag(TAV_TAG_OTHER, "z");
  tav.AddTag(TAV_TAG_EDITION, "Pro");
  tav.AddTag(TAV_TAG_EDITION, " Pro ");
  tav.AddTag(TAV_TAG_EDITION, "Beta");
  Complaints();
  tav.SetCustomerIdentifier("");
  tav.SetUserIdentifier(nullptr);
  tav.SetProductContext("  ");
  const std::string tooLong(256, 'x');
  tav.SetProductComponentName(tooLong.c_str());
  tav.AddTag(0, "tag");
  tav.AddTag(9, "tag");
  tav.AddTag(9, " ");
  const std::string failed = " failed because of bad input name: ";
  EXPECT_EQ(Complaints(), (Lines{"warning: Tav: TavSetCustomerIdentifier" + failed + "[0 bytes]",
                                 "warning: Tav: TavSetUserIdentifier" + failed + "[0 bytes]",
                                 "warning: Tav: TavSetProductContext" + failed + "  ",
                                 "warning: Tav: TavSetProductComponentName" + failed + tooLong,
                                 "error: Tag category not supported: 0",
                                 "error: Tag category not supported: 9"}));
  Start();
  Stop();
  const std::vector<JsonPtr> records = Records();
  ASSERT_EQ(records.size(), 1u);
  const json_t* const record = records[0].Get();
  EXPECT_EQ(TextAt(record, "c"), "Customer \xC3\xA9");
  EXPECT_EQ(TextAt(record, "u"), "7d078226a24dddc56302e329457e436e");
  EXPECT_EQ(TextAt(record, "px"), "Context");
  EXPECT_EQ(TextAt(record, "pc"), "Component");
  EXPECT_EQ(Text(json_object_get(record, "pt")), R"({"Edition":["Pro","Beta"],"Other":["z"]})");

  // Terminate has forgotten them.
  Start();
  tav.LogEvent(tav.NewEvent("Event"));
  Stop();
  const std::vector<JsonPtr> both = Records();
  ASSERT_EQ(both.size(), 2u);
  const json_t* const second = both[1].Get();
  EXPECT_EQ(TextAt(second, "c") + TextAt(second, "u"), "");
  EXPECT_EQ(Text(json_object_get(second, "pt")), "{}");
}

TEST_F(TuningTest, TheCacheDirectoryMustExist) {
  const std::string existing = StorageFolder::Utf8(folder_.Base());
  folder_.Put("file", "x");
  tav.SetCacheDirectory(existing.c_str());
  EXPECT_EQ(Complaints(), Lines{});
  // The log may name the user's profile folder instead of its path.
  EXPECT_TRUE(LineWith("Set cache directory to: ")
                  .ends_with(StorageFolder::Utf8(folder_.Base().filename())));
  tav.SetCacheDirectory(nullptr);
  tav.SetCacheDirectory("");
  tav.SetCacheDirectory((existing + "/missing").c_str());
  tav.SetCacheDirectory(StorageFolder::Utf8(folder_.Path("file")).c_str());
  EXPECT_EQ(Complaints(), (Lines{"warning: TavSetCacheDirectory: directory is NULL or empty",
                                 "warning: TavSetCacheDirectory: directory is NULL or empty",
                                 "warning: TavSetCacheDirectory: directory does not exist",
                                 "warning: TavSetCacheDirectory: directory does not exist"}));
  EXPECT_EQ(GetLibrary().config.cacheDirectory, existing);
}

TEST_F(TuningTest, FlagsChooseTheDeploymentAndMarkers) {
  const Deployment& deployment = GetLibrary().deployment;
  EXPECT_EQ(deployment.Selected(), Stage::Production);
  tav.SetStateFlags(1, 1);
  EXPECT_EQ(deployment.Selected(), Stage::Internal);
  tav.SetDebugFlags(1);
  EXPECT_EQ(deployment.Selected(), Stage::Development);
  tav.SetDebugFlags(0);
  EXPECT_EQ(deployment.Selected(), Stage::Internal);
  tav.SetDebugFlags(1);
  Start();
  EXPECT_EQ(deployment.Selected(), Stage::Development);
  tav.LogPlace("Place");
  tav.LogEvent(tav.NewEvent("Event"));
  Stop();
  EXPECT_EQ(Events().size(), 1u);  // no session begin and end, no place
  EXPECT_NE(LineWith("CM: prefix = 'TavDCache_"), "");
  EXPECT_EQ(deployment.Selected(), Stage::Production);

  tav.EnableDebugLog();
  tav.SetDebugFlags(1);
  tav.SetDebugFlags(0);
  EXPECT_EQ(deployment.Selected(), Stage::Development) << "takes back only its own request";
  Start();
  tav.LogPlace("Place");
  Stop();
  EXPECT_EQ(EventsNamed("Place").size(), 1u);
  EXPECT_EQ(deployment.Selected(), Stage::Development);
}

// Otherwise production's records would be sent to the development servers.
TEST_F(TuningTest, ARunWithADebugLogLeavesProductionsCacheAlone) {
  SetEnvironment("TAV_GATEWAY", "http://127.0.0.1:1/");
  Start();
  tav.LogEvent(tav.NewEvent("Production"));
  Stop();
  SetEnvironment("TAV_GATEWAY", "test://");
  ASSERT_EQ(CacheFiles(), (Lines{"TavCache"}));
  tav.EnableDebugLog();
  Start();
  tav.LogEvent(tav.NewEvent("Trial"));
  Stop();
  EXPECT_EQ(CacheFiles(), (Lines{"TavCache"}));
  EXPECT_TRUE(EventsNamed("Production").empty());
  EXPECT_EQ(EventsNamed("Trial").size(), 1u);
  GetLibrary().deployment = Deployment();
  Start();
  Stop();
  EXPECT_EQ(CacheFiles(), Lines{});
  EXPECT_EQ(EventsNamed("Production").size(), 1u);
}

TEST_F(TuningTest, TheSessionEnvironmentIsAttachedToEvents) {
  tav.AddSessionEnvInfo(" theme ", "light");
  tav.AddSessionEnvInfo("theme", " dark ");
  tav.AddNumericSessionEnvInfo("zoom", 1.5);
  tav.AddSessionEnvInfo("", "value");
  tav.AddNumericSessionEnvInfo(std::string(256, 'k').c_str(), 1);
  Start();
  tav.AddSessionEnvInfo("late", "value");
  tav.AddNumericSessionEnvInfo("late", 1);
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: TavAddSessionEnvInfo failed because of bad input data",
                   "error: Tav: TavAddSessionEnvInfo failed because of bad input data",
                   "error: Tav: TavAddSessionEnvInfo called after TavInitialize",
                   "error: Tav: TavAddSessionEnvInfo called after TavInitialize"}));
  tav.LogEvent(tav.NewEvent("Event"));
  tav.LogPlace("Place");
  Stop();
  ASSERT_EQ(EventsNamed("Event").size(), 1u);
  EXPECT_EQ(Text(json_object_get(EventsNamed("Event")[0].Get(), "se")),
            R"({"theme":" dark ","zoom":1.5})");
  ASSERT_EQ(EventsNamed("Place").size(), 1u);
  EXPECT_EQ(json_object_get(EventsNamed("Place")[0].Get(), "se"), nullptr);
}

}  // namespace
}  // namespace Tav::Testing
