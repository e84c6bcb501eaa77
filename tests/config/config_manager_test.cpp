#include "config/config_manager.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "storage/storage_views.h"
#include "support/storage_folder.h"

namespace Tav {
namespace {

struct Answer {
  EnvMap settings;
  std::vector<std::string> inhibited;
};

class ConfigManagerTest : public testing::Test {
 protected:
  Answer Parse(const std::string& json) const {
    Answer answer;
    manager_.ParseSettings(answer.settings, answer.inhibited, json);
    return answer;
  }

  // Makes the manager's own what `json` says.
  void Adopt(const std::string& json) {
    Answer answer = Parse(json);
    manager_.Replace(std::move(answer.settings), std::move(answer.inhibited));
  }

  bool IsChangedBy(const std::string& json) const {
    const Answer answer = Parse(json);
    return manager_.IsChanged(answer.settings, answer.inhibited);
  }

  Testing::StorageFolder folder_;
  Testing::CapturedLog log_;
  ConfigManager manager_{"App", "1.0", "wntx64"};
};

TEST_F(ConfigManagerTest, NumbersAreWholeAndTextIsNone) {
  Adopt(R"({"flush_time": 30.7, "pause_time": -2.9, "send_threshold": "30", "disabled": true,
            "max_cache_size": 7, "gateway": "https://g/", "wraps": 4294967297, "far": 1e300})");
  EXPECT_NE(log_.Find("XM: setting flush_time to 30"), "");
  EXPECT_NE(log_.Find("XM: setting gateway to 'https://g/'"), "");
  EXPECT_NE(log_.Find("warning: Unsupported data type for 'disabled'"), "");
  log_.Take();
  EXPECT_EQ(manager_.GetNumber("flush_time", 360), 30);
  EXPECT_EQ(manager_.GetNumber("pause_time", 1), -2);
  EXPECT_EQ(manager_.GetNumber("send_threshold", 1048576), 0);
  EXPECT_EQ(manager_.GetNumber("disabled", 0), 0);
  EXPECT_EQ(manager_.GetString("gateway", ""), "https://g/");
  EXPECT_EQ(manager_.GetString("max_cache_size", "50"), "");
  EXPECT_EQ(log_.Take(), (std::vector<std::string>{
                             "Using server value for flush_time: 30",
                             "Using server value for pause_time: -2",
                             "Using server value for send_threshold: 0",
                             "Using default value for disabled: 0",
                             "Using server value for gateway: https://g/",
                             "Using server value for max_cache_size: ",
                         }));
  EXPECT_EQ(manager_.GetNumber("wraps", 0), 1);
  EXPECT_EQ(manager_.GetNumber("far", 0), std::numeric_limits<int32_t>::max());
}

TEST_F(ConfigManagerTest, AnAnswerThatIsNoSettingsChangesNothing) {
  Answer answer = Parse(R"({"flush_time": 30, "inhibit": "x"})");
  for (const char* const json : {"", "{", R"({"a": 1, "a": 2})", "<html></html>", "{} {}"}) {
    log_.Take();
    manager_.ParseSettings(answer.settings, answer.inhibited, json);
    EXPECT_EQ(log_.Take(), (std::vector<std::string>{
                               "XM: Parsing config settings",
                               "warning: Cannot parse json data from server",
                           }))
        << json;
  }
  manager_.ParseSettings(answer.settings, answer.inhibited, R"([{"pause_time": 5}])");
  EXPECT_EQ(log_.Take(), std::vector<std::string>{"XM: Parsing config settings"});
  EXPECT_EQ(answer.settings.size(), 1U);
  EXPECT_EQ(answer.inhibited.size(), 1U);
}

TEST_F(ConfigManagerTest, InhibitsTheNamesOfTheList) {
  Adopt(R"({"inhibit": ["a", 5, ["c"], "b", "a"]})");
  EXPECT_EQ(Parse(R"({"inhibit": "a"})").inhibited, std::vector<std::string>{"a"});
  EXPECT_TRUE(Parse(R"({"inhibit": {"a": "b"}})").inhibited.empty());
  log_.Take();
  EXPECT_TRUE(manager_.IsInhibited("b"));
  EXPECT_EQ(log_.Take(), std::vector<std::string>{"XM: Found 'b' in inhibit list"});
  for (const char* const name : {"", "A", "ab", "c", "inhibit"}) {
    EXPECT_FALSE(manager_.IsInhibited(name)) << name;
  }
}

TEST_F(ConfigManagerTest, OnlyNamesAndTheInhibitListMakeAChange) {
  Adopt(R"({"flush_time": 30, "gateway": "g", "inhibit": ["a", "b"]})");
  EXPECT_FALSE(IsChangedBy(R"({"gateway": 5, "flush_time": 31, "inhibit": ["a", "b"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"flush_time": 30, "inhibit": ["a", "b"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"flush_time": 30, "pause_time": 1, "inhibit": ["a", "b"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"flush_time": 30, "gateway": "g", "inhibit": ["b", "a"]})"));
  EXPECT_TRUE(IsChangedBy(R"({"flush_time": 30, "gateway": "g", "inhibit": ["a"]})"));
}

TEST_F(ConfigManagerTest, WhatIsSavedIsLoadedByTheNextRunOfThatProductOnly) {
  PersistentStorage storage;
  for (const char* const json : {R"({"old": 1, "inhibit": ["gone"]})",
                                 R"({"flush_time": 30, "gateway": "g", "inhibit": ["b", "a"]})"}) {
    const Answer answer = Parse(json);
    ASSERT_TRUE(storage.Open(true));
    manager_.SaveToStorage(&storage, answer.settings, answer.inhibited);
    storage.CloseAndSave();
  }
  EXPECT_EQ(manager_.GetNumber("flush_time", 360), 360);

  ASSERT_TRUE(storage.Open(false));
  manager_.LoadFromStorage(&storage);
  EXPECT_FALSE(IsChangedBy(R"({"flush_time": 0, "gateway": 0, "inhibit": ["b", "a"]})"));
  EXPECT_EQ(manager_.GetNumber("flush_time", 360), 30);
  EXPECT_EQ(manager_.GetString("gateway", ""), "g");
  EXPECT_TRUE(manager_.IsInhibited("a"));
  EXPECT_FALSE(manager_.IsInhibited("gone"));

  ConfigManager other("App", "2.0", "wntx64");
  other.LoadFromStorage(&storage);
  EXPECT_EQ(other.GetNumber("flush_time", 360), 360);
  EXPECT_FALSE(other.IsInhibited("a"));
  storage.Close(false);
}

TEST_F(ConfigManagerTest, ADamagedOrMissingStoreYieldsTheDefaults) {
  folder_.Put("TavData", R"({"Products": [{"Name": "App", "Version": "1.0",)"
                         R"( "Platform": "wntx64", "Inhibit": [1, "a"],)"
                         R"( "Settings": {"flush_time": true, "pause_time": 3}}]})");
  PersistentStorage storage;
  manager_.LoadFromStorage(&storage);  // not open
  ASSERT_TRUE(storage.Open(false));
  manager_.LoadFromStorage(&storage);
  EXPECT_NE(log_.Find("error: PS: key flush_time has invalid type 5"), "");
  EXPECT_EQ(manager_.GetNumber("flush_time", 360), 360);
  EXPECT_EQ(manager_.GetNumber("pause_time", 1), 3);
  EXPECT_TRUE(manager_.IsInhibited("a"));
}

}  // namespace
}  // namespace Tav
