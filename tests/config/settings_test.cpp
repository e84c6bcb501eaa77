#include "config/settings.h"

#include <gtest/gtest.h>

#include "config/config_manager.h"
#include "storage/storage_views.h"
#include "support/storage_folder.h"

namespace Tav::Testing {
namespace {

using Lines = std::vector<std::string>;

const ProductIdentity kProduct = {"App", "1.0", "wntx64"};

class SettingsTest : public testing::Test {
 protected:
  // "name=text" and "name:number" of each value, then the inhibit list.
  static Lines Describe(const Settings& settings) {
    Lines lines;
    for (const auto& [name, value] : settings.values) {
      lines.push_back(value.type == EnvType::Number
                          ? name + ':' + std::to_string(static_cast<int64_t>(value.number))
                          : name + '=' + value.text);
    }
    lines.insert(lines.end(), settings.inhibitList.begin(), settings.inhibitList.end());
    return lines;
  }
  static Lines Parse(const std::string& json) {
    const std::optional<Settings> settings = ParseSettings(json);
    return settings ? Describe(*settings) : Lines{"none"};
  }
  static Lines Load(PersistentStorage& storage, const ProductIdentity& product) {
    return Describe(LoadSettings(&storage, product));
  }

  StorageFolder folder_;
  CapturedLog log_;
};

TEST_F(SettingsTest, AreTextsWholeNumbersAndInhibitedNames) {
  EXPECT_EQ(Parse(R"({"gateway": "https://g/", "flush_time": 30.7, "pause_time": -2.9, "zero": 0,
                      "wraps": 4294967297, "far": 1e300, "disabled": true,
                      "inhibit": ["b", 5, ["c"], "a", "b"]})"),
            (Lines{"far:2147483647", "flush_time:30", "gateway=https://g/", "pause_time:-2",
                   "wraps:1", "zero:0", "b", "a", "b"}));
  EXPECT_NE(log_.Find("XM: setting flush_time to 30"), "");
  EXPECT_NE(log_.Find("XM: setting gateway to 'https://g/'"), "");
  EXPECT_NE(log_.Find("XM: adding inhibit of a"), "");
  EXPECT_EQ(log_.Find("warning"), "warning: Unsupported data type for 'disabled'");
  EXPECT_EQ(Parse(R"({"inhibit": "a"})"), Lines{"a"});
  EXPECT_EQ(Parse(R"({"inhibit": {"a": "b"}})"), Lines{});
}

TEST_F(SettingsTest, OnlyAJsonObjectHolds) {
  for (const char* const json : {"", "{", R"({"a": 1, "a": 2})", "<html></html>", "{} {}"}) {
    log_.Take();
    EXPECT_EQ(Parse(json), Lines{"none"}) << json;
    EXPECT_EQ(log_.Take(),
              (Lines{"XM: Parsing config settings", "warning: Cannot parse json data from server"}))
        << json;
  }
  EXPECT_EQ(Parse(R"([{"pause_time": 5}])"), Lines{"none"});
  EXPECT_EQ(log_.Take(), Lines{"XM: Parsing config settings"});
  EXPECT_EQ(Parse("{}"), Lines{});
}

TEST_F(SettingsTest, DamageInTheStorageIsLeftOut) {
  folder_.Put("TavData", R"({"Products": [{"Name": "App", "Version": "1.0",)"
                         R"( "Platform": "wntx64", "Inhibit": [1, "a"],)"
                         R"( "Settings": {"flush_time": true, "pause_time": 3}}]})");
  PersistentStorage storage;
  EXPECT_EQ(Load(storage, kProduct), Lines{}) << "not open";
  ASSERT_TRUE(storage.Open(PersistentStorage::Access::Read));
  EXPECT_EQ(Load(storage, kProduct), (Lines{"pause_time:3", "", "a"}));
  EXPECT_NE(log_.Find("error: PS: key flush_time has invalid type 5"), "");
}

class ConfigManagerTest : public SettingsTest {
 protected:
  bool IsChangedBy(const std::string& json) const {
    return manager_.IsChanged(*ParseSettings(json));
  }

  ConfigManager manager_{kProduct, *ParseSettings(R"({"flush_time": 30, "gateway": "g",
                                                      "inhibit": ["a", "b"]})")};
};

TEST_F(ConfigManagerTest, LooksUpWithTheReadersDefault) {
  log_.Take();
  EXPECT_EQ(manager_.GetNumber("flush_time", 360), 30);
  EXPECT_EQ(manager_.GetNumber("gateway", 5), 0);
  EXPECT_EQ(manager_.GetNumber("pause_time", 1), 1);
  EXPECT_EQ(manager_.GetString("gateway", ""), "g");
  EXPECT_EQ(manager_.GetString("flush_time", "360"), "");
  EXPECT_EQ(manager_.GetString("other", "default"), "default");
  EXPECT_TRUE(manager_.IsInhibited("b"));
  EXPECT_EQ(log_.Take(), (Lines{
                             "Using server value for flush_time: 30",
                             "Using server value for gateway: 0",
                             "Using default value for pause_time: 1",
                             "Using server value for gateway: g",
                             "Using server value for flush_time: ",
                             "Using default value for other: default",
                             "XM: Found 'b' in inhibit list",
                         }));
  for (const char* const name : {"", "A", "ab", "gateway"}) {
    EXPECT_FALSE(manager_.IsInhibited(name)) << name;
  }
}

TEST_F(ConfigManagerTest, NamesValuesAndTheInhibitListMakeAChange) {
  EXPECT_FALSE(IsChangedBy(R"({"gateway": "g", "flush_time": 30.9, "inhibit": ["a", "b"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"gateway": "G", "flush_time": 30, "inhibit": ["a", "b"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"gateway": "g", "flush_time": 31, "inhibit": ["a", "b"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"gateway": "g", "flush_time": "30", "inhibit": ["a", "b"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"flush_time": 30, "inhibit": ["a", "b"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"flush_time": 30, "pause_time": 1, "inhibit": ["a", "b"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"flush_time": 30, "gateway": "g", "inhibit": ["b", "a"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"flush_time": 30, "gateway": "g", "inhibit": ["a"]})"));
}

TEST_F(ConfigManagerTest, AddsWhatItParsesAndLoadsAndReplacesWhatIsStored) {
  Settings settings = *ParseSettings(R"({"flush_time": 1, "old": 2, "inhibit": ["x"]})");
  EXPECT_FALSE(manager_.ParseSettings(settings, "[]"));
  EXPECT_TRUE(manager_.ParseSettings(settings, R"({"flush_time": 9, "inhibit": "y"})"));
  PersistentStorage storage;
  ASSERT_TRUE(storage.Open(PersistentStorage::Access::Update));
  SaveSettings(&storage, kProduct, *ParseSettings(R"({"older": 1, "inhibit": ["gone"]})"));
  manager_.SaveToStorage(&storage, settings);
  EXPECT_EQ(Load(storage, kProduct), (Lines{"flush_time:9", "old:2", "x", "y"}));
  EXPECT_EQ(Load(storage, {"App", "2.0", "wntx64"}), Lines{});
  EXPECT_EQ(manager_.GetNumber("flush_time", 0), 30) << "its own do not change";
  manager_.LoadFromStorage(&storage);
  storage.Close(PersistentStorage::Changes::Discard);
  EXPECT_FALSE(IsChangedBy(R"({"flush_time": 9, "gateway": "g", "old": 2,
                               "inhibit": ["a", "b", "x", "y"]})"));
  EXPECT_EQ(manager_.GetNumber("flush_time", 0), 9);
  EXPECT_TRUE(manager_.IsInhibited("a") && manager_.IsInhibited("y"));
}

}  // namespace
}  // namespace Tav::Testing
