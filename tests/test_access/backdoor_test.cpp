// The test-access object as a test tool uses it: by the position of its operations alone.
#include <array>
#include <cstring>
#include <initializer_list>

#include "api/library.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

// The published slots and part numbers. Not those of the library's headers, on purpose.
enum Slot {
  kCreateClientInfo = 0,
  kCreateProductInfo = 1,
  kSetStorageFile = 2,
  kSetStorageDirectory = 3,
  kCallCacheManager = 4,
  kOpenStorage = 5,
  kCreateClientView = 6,
  kCreateProductView = 7,
  kCreateProductEnvView = 8,
  kCreateEndpoint = 9,
  kSetSendHook = 10,
  kGetText = 11,
  kSetViewValue = 12,
  kCreateCacheManager = 13,
  kCallStorage = 14,
  kGetStorageFileName = 15,
  kSetTuning = 16,
  kSetTestFlag = 17,
  kCallClientInfo = 18,
  kCallProductInfo = 19,
  kSetConfigOverride = 20,
  kFetchSettings = 21,
  kComposeConfigUrl = 22,
  kDestroy = 23,
};
enum Part { kClientInfo = 1, kProductInfo, kStorage, kClientView, kProductView, kProductEnvView };
constexpr int kEndpoint = 7;
constexpr int kCacheManager = 8;

constexpr const char* kNone = nullptr;
constexpr const char* kPlatform = "wntx64";

class BackdoorTest : public TableTest {
 protected:
  ~BackdoorTest() override { Destroy(1); }

  template <typename Result, typename... Arguments>
  Result Get(Slot slot, Arguments... arguments) const {
    using Word = void (*)();
    const Word* words = nullptr;
    std::memcpy(&words, object_, sizeof words);
    return reinterpret_cast<Result (*)(void*, Arguments...)>(words[slot])(object_, arguments...);
  }
  template <typename... Arguments>
  int32_t Call(Slot slot, Arguments... arguments) const {
    return Get<int32_t>(slot, arguments...);
  }
  template <typename... Arguments>
  void Do(Slot slot, Arguments... arguments) const {
    Get<void>(slot, arguments...);
  }
  // "(null)" for null, which no operation here returns as a text.
  template <typename... Arguments>
  std::string Text(Slot slot, Arguments... arguments) const {
    const char* const text = Get<const char*>(slot, arguments...);
    return text == nullptr ? "(null)" : text;
  }
  void Destroy(int freeObject) const { Do(kDestroy, freeObject); }

  struct Step {
    int operation;
    int argument;
    int result;
  };
  void Expect(Slot slot, std::initializer_list<Step> steps) const {
    for (const Step& step : steps) {
      EXPECT_EQ(Call(slot, step.operation, step.argument), step.result) << step.operation;
    }
  }
  struct ProductStep {
    int operation;
    const char* key;
    const char* value;
    int result;
  };
  void ExpectProduct(std::initializer_list<ProductStep> steps) const {
    for (const ProductStep& step : steps) {
      EXPECT_EQ(Call(kCallProductInfo, step.operation, step.key, step.value), step.result)
          << step.operation << step.key << step.value;
    }
  }

  void Open(bool timestamps, bool update) const {
    EXPECT_EQ(Call(kOpenStorage, int32_t{timestamps}, int32_t{update}), 1);
  }
  void Save() const { EXPECT_EQ(Call(kCallStorage, 4), 1); }
  std::string Value(int part, const char* key) const { return Text(kGetText, part, key); }

  Backdoor* object_ = tav.CreateBackdoor();
};

TEST_F(BackdoorTest, WithoutItsPartsNothingCanBeDone) {
  EXPECT_EQ(Call(kCallStorage, 0), -1);
  EXPECT_EQ(Call(kCreateClientView), -1);
  Expect(kCallCacheManager, {{0, 0, -1}});
  Expect(kCallClientInfo, {{0, 0, -1}});
  ExpectProduct({{0, "", "", -1}});
  EXPECT_EQ(Call(kCreateProductView, "P", "1", kPlatform), -1);
  EXPECT_EQ(Call(kCreateProductEnvView, "P", "1", kPlatform, 0), -1);
  EXPECT_EQ(Text(kCreateEndpoint, 1), "(null)");
  EXPECT_EQ(Text(kCreateEndpoint, 4), "(null)");
  for (int part = kClientInfo - 1; part <= kCacheManager + 1; ++part) {
    EXPECT_EQ(Value(part, "Name"), "(null)");
    EXPECT_EQ(Call(kSetViewValue, part, "Name", "x", 0), -1);
  }
  // Unknown operations.
  Open(false, false);
  EXPECT_EQ(Call(kCreateProductInfo, kNone, kNone), 1);
  EXPECT_EQ(Call(kCreateClientInfo), 1);
  EXPECT_EQ(Call(kCreateCacheManager, "Trial_"), 1);
  EXPECT_EQ(Call(kCreateCacheManager, kNone), -1);
  for (const int number : {-1, 10, 1 << 30}) {
    EXPECT_EQ(Call(kCallStorage, number), -1);
    Expect(kCallCacheManager, {{number, 0, -1}});
    Expect(kCallClientInfo, {{number, 0, -1}});
    ExpectProduct({{number, "", "", -1}});
  }
}

TEST_F(BackdoorTest, ViewsReadAndWriteTheStorageFiles) {
  Open(false, true);
  EXPECT_EQ(Call(kCreateClientView), 1);
  EXPECT_EQ(Call(kCreateProductView, "P", "1", kPlatform), 2);
  EXPECT_EQ(Call(kCreateProductView, "P", "1", kPlatform), 1);
  EXPECT_EQ(Call(kCreateProductEnvView, "P", "1", kPlatform, 1), 1);
  EXPECT_EQ(Call(kSetViewValue, int{kClientView}, "Label", "text", 0), 1);
  EXPECT_EQ(Call(kSetViewValue, int{kProductView}, "Server", "s", 0), 1);
  EXPECT_EQ(Call(kSetViewValue, int{kProductEnvView}, "flush_time", "30", 1), 1);
  EXPECT_EQ(Call(kSetViewValue, int{kProductEnvView}, "flush_time", "many", 1), 0);
  Save();
  // Closing the document freed the views.
  EXPECT_EQ(Value(kClientView, "Label"), "(null)");

  Open(false, false);
  EXPECT_EQ(Call(kCallStorage, 2), 1);
  Call(kCreateClientView);
  Call(kCreateProductView, "P", "1", kPlatform);
  Call(kCreateProductEnvView, "P", "1", kPlatform, 1);
  EXPECT_EQ(Value(kClientView, "Label"), "text");
  EXPECT_EQ(Value(kProductView, "Version"), "1");
  EXPECT_EQ(Value(kProductView, "Server"), "s");
  EXPECT_EQ(Value(kProductEnvView, "flush_time"), "30.0");
  EXPECT_EQ(Call(kSetViewValue, int{kClientView}, "Label", kNone, 0), 1);
  EXPECT_EQ(Call(kSetViewValue, int{kClientView}, "Label", kNone, 0), 0);
  EXPECT_EQ(Value(kClientView, "Label"), "(null)");
  Call(kCreateProductEnvView, "P", "1", kPlatform, 0);
  EXPECT_EQ(Value(kProductEnvView, "flush_time"), "(null)");
  EXPECT_EQ(Call(kCallStorage, 3), 1);

  folder_.Put("TsTavData", "{");
  Open(true, false);
  EXPECT_EQ(Call(kCallStorage, 0), 1);
  EXPECT_EQ(Call(kCallStorage, 1), 0);
  EXPECT_EQ(Call(kCallStorage, 5), 1);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("TavData")));
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("TsTavData")));
}

TEST_F(BackdoorTest, TheStorageCanBeElsewhere) {
  const std::string usual = Text(kGetStorageFileName, 0);
  EXPECT_EQ(usual, StorageFolder::Utf8(folder_.Path("TavData").make_preferred()));
  Do(kSetStorageFile, "Other");
  EXPECT_TRUE(Text(kGetStorageFileName, 1).ends_with("TsOther"));
  Do(kSetStorageFile, kNone);
  Do(kSetStorageDirectory, StorageFolder::Utf8(folder_.Base()).c_str());
  EXPECT_EQ(Text(kGetStorageFileName, 0),
            StorageFolder::Utf8((folder_.Base() / "TavData").make_preferred()));
  Do(kSetStorageDirectory, kNone);
  EXPECT_EQ(Text(kGetStorageFileName, 0), usual);
}

TEST_F(BackdoorTest, AProductIsChangedUntilItIsStored) {
  EXPECT_EQ(Call(kCreateProductInfo, "P", "1"), 1);
  ExpectProduct({{5, "", "", -1}});
  Open(false, true);
  EXPECT_EQ(Call(kCallProductInfo, 5, kNone, kNone), 1);
  ExpectProduct({{6, "", "", 1},
                 {0, "", "https://gateway.example/", 1},
                 {1, "Seats", "5.5", 1},
                 {1, "Seats", "5.5", 0},
                 {1, "Seats", "not JSON", 0},
                 {1, "Plugins", R"({"0": "a"})", 1},
                 {2, "Features", R"({"x": "y", "z": 1})", 1}});
  EXPECT_EQ(Value(kProductInfo, "Seats"), "5.5");
  EXPECT_EQ(Value(kProductInfo, "Plugins:0"), "a");
  EXPECT_EQ(Value(kProductInfo, "Features.x"), "y");
  EXPECT_EQ(Value(kProductInfo, "Features"), "(null)");
  ExpectProduct({{3, "", "", 4}, {7, "", "", 1}, {3, "", "", 0}});
  Save();

  EXPECT_EQ(Call(kCreateProductInfo, "P", "1"), 1);
  Open(false, true);
  ExpectProduct({{5, "", "", 0}, {4, "", "", 1}, {8, "", "", 1}, {4, "", "", 0}});
  ExpectProduct({{9, "", "", 1}, {4, "", "", 1}});
  Call(kCreateProductView, "P", "1", kPlatform);
  EXPECT_EQ(Value(kProductView, "Server"), "https://gateway.example/");
  EXPECT_EQ(Value(kProductView, "PendingStdOptOut"), "");
}

TEST_F(BackdoorTest, TheClientIsCollectedComparedAndStored) {
  folder_.Put("TsTavData", R"({"Products": []})");
  EXPECT_EQ(Call(kCreateClientInfo), 1);
  Expect(kCallClientInfo, {{2, 0, 0}, {4, 0, -1}, {5, 0, -1}});
  EXPECT_GE(Call(kCallClientInfo, 0, 0), 0);
  EXPECT_EQ(Call(kCallClientInfo, 1, 60000), 1);
  EXPECT_GT(Call(kCallClientInfo, 2, 0), 5);
  EXPECT_EQ(Value(kClientInfo, "OsName"), "Windows");
  EXPECT_EQ(Value(kClientInfo, "Color"), "(null)");
  EXPECT_EQ(Call(kCallClientInfo, 3, 0), 1);
  EXPECT_NE(LineWith("CI: Client Env: "), "");
  Open(false, true);
  Expect(kCallClientInfo, {{4, 0, 1}, {5, 0, 1}, {4, 0, 0}});
  Save();
  EXPECT_NE(folder_.Contents("TavData").find("\"OsName\": \"Windows\""), std::string::npos);
}

TEST_F(BackdoorTest, AnEndpointIsComputedStoredAndReadBack) {
  EXPECT_EQ(Text(kCreateEndpoint, 0), "");
  const std::string computed = Text(kCreateEndpoint, 2);
  EXPECT_EQ(computed.size(), 40U);
  EXPECT_EQ(Value(kEndpoint, kNone), computed);
  Open(false, true);
  EXPECT_EQ(Text(kCreateEndpoint, 1), "");
  const std::string stored = Text(kCreateEndpoint, 6);
  Save();
  Open(false, false);
  EXPECT_EQ(Text(kCreateEndpoint, 1), stored);
  EXPECT_EQ(Text(kCreateEndpoint, 3), stored);
}

TEST_F(BackdoorTest, ACacheManagerWorksOnTheFilesOfItsPrefix) {
  const std::string chunk("\x1C\x01\x00\x00r\x1D", 6);
  folder_.Put("Trial_0003", chunk + chunk);
  folder_.Put("Trial_0007", chunk);
  folder_.Put("Other_0001", chunk);
  EXPECT_EQ(Call(kCreateCacheManager, "Trial_"), 1);
  EXPECT_EQ(Value(kCacheManager, kNone), "Trial_");
  Expect(kCallCacheManager, {{4, 0, 0}, {0, 1, 2}, {3, 0, 18}, {4, 0, 2}});
  Expect(kCallCacheManager, {{5, 1, 7}, {5, -1, 0}, {6, 0, 0}, {7, 7, 1}});
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("Trial_0007")));
  EXPECT_EQ(Call(kCallCacheManager, 1, 0), 2);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("Trial_0003")));
  folder_.Put("Trial_0001", chunk);
  EXPECT_EQ(Call(kCallCacheManager, 2, 0), 0);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("Trial_0001")));
  EXPECT_TRUE(std::filesystem::exists(folder_.Path("Other_0001")));
  // The prefix is not used by other managers.
  Start();
  Stop();
  EXPECT_EQ(LineWith("CM: prefix = 'TavCache_").find("CM: prefix"), 0U);
}

TEST_F(BackdoorTest, NineTuningValuesAndTheTestFlagAreSetForTheNextRun) {
  Do(kSetTuning, 1, 2, 3, 4, 5, 6, 7, 8, 9);
  Do(kSetTestFlag, 1);
  const Library& library = GetLibrary();
  const LibraryConfig& config = library.config;
  EXPECT_EQ((std::array{config.maxCacheBytes, config.maxRecordSize, config.maxEventSize,
                        config.sendThreshold, config.maxMemorySize, config.flushInterval,
                        config.pauseInterval, config.breadcrumbLength, library.maxTraceItems}),
            (std::array{1, 2, 3, 4, 5, 6, 7, 8, 9}));
  EXPECT_TRUE(library.testFlag);
  Do(kSetTestFlag, 0);
  EXPECT_FALSE(library.testFlag);
}

int hookCalls = 0;

TEST_F(BackdoorTest, WhatATestSenderSendsReachesTheHook) {
  int32_t (*const hook)(const uint8_t*, size_t) = [](const uint8_t* data, size_t length) {
    hookCalls += data != nullptr && length > 0 && data[0] == '{' ? 1 : 0;
    return int32_t{0};
  };
  Do(kSetSendHook, hook);
  Start();
  tav.LogEvent(tav.NewEvent("Seen"));
  Stop();
  EXPECT_GT(hookCalls, 0);
  EXPECT_TRUE(Records().empty());
}

TEST_F(BackdoorTest, TheConfigurationServerCanBeOverriddenUntilTermination) {
  folder_.Put("answer", R"({"flush_time": 30})");
  const std::string url = "file://" + StorageFolder::Utf8(folder_.Path("answer"));
  Do(kSetConfigOverride, url.c_str());
  Start();
  Stop();
  ExpectLogged("SM: Updating PS with new settings");
  EXPECT_EQ(GetLibrary().config.hostConfigUrl, "");
}

TEST_F(BackdoorTest, SettingsComeFromWhereTheSchemeSays) {
  folder_.Put("answer",
              R"({"flush_time": 30.7, "gateway": "g", "disabled": true, "inhibit": ["a", "b"]})");
  folder_.Put("array", "[]");
  const auto url = [&](const char* name) {
    return "FILE://" + StorageFolder::Utf8(folder_.Path(name)) + "?N=P";
  };
  const std::string answer = url("answer");
  const auto fetched = [&](const char* name) { return Text(kFetchSettings, answer.c_str(), name); };
  EXPECT_EQ(fetched(""), folder_.Contents("answer"));
  EXPECT_EQ(fetched("flush_time"), "30");
  EXPECT_EQ(fetched("gateway"), "g");
  EXPECT_EQ(fetched("disabled"), "(null)");
  EXPECT_EQ(fetched("inhibit"), "a\nb\n");
  for (const std::string& other : {url("array"), url("missing"), std::string("null://")}) {
    EXPECT_EQ(Text(kFetchSettings, other.c_str(), kNone), "(null)");
  }
}

TEST_F(BackdoorTest, TheConfigurationAddressIsTheFirstThatIsThere) {
  const auto compose = [&](const char* host, const char* variable, const char* server) {
    return Text(kComposeConfigUrl, host, variable, server, "external", "internal", "development");
  };
  EXPECT_EQ(compose("host", "TAV_CONFIGURATOR", "server"), "host");
  EXPECT_EQ(compose("", "TAV_CONFIGURATOR", "server"), "null://");
  EXPECT_EQ(compose("", "TAV_UNSET_VARIABLE", "server"), "server");
  EXPECT_EQ(compose(kNone, kNone, kNone), "external");
  tav.SetStateFlags(0, 1);
  EXPECT_EQ(compose("", "", ""), "internal");
  tav.SetDebugFlags(1);
  EXPECT_EQ(compose("", "", ""), "development");
  tav.SetDebugFlags(0);
  EXPECT_EQ(compose("", "", ""), "internal");
  tav.EnableDebugLog();
  EXPECT_EQ(compose("", "", ""), "development");
  tav.SetDebugFlags(0);
  EXPECT_EQ(compose("", "", ""), "development") << "takes back only its own request";
  // The address stays when the object that composed it is freed.
  const auto* const kept =
      Get<const char*>(kComposeConfigUrl, "kept", kNone, kNone, kNone, kNone, kNone);
  Destroy(1);
  object_ = tav.CreateBackdoor();
  EXPECT_STREQ(kept, "kept");
  EXPECT_EQ(Text(kComposeConfigUrl, kNone, kNone, kNone, kNone, kNone, kNone), "");
}

TEST_F(BackdoorTest, DestroyedButNotFreedItIsAsNew) {
  Open(false, true);
  Call(kCreateClientView);
  Call(kCreateClientInfo);
  Call(kCreateProductInfo, "P", "1");
  Call(kCreateEndpoint, 0);
  Call(kCreateCacheManager, "Trial_");
  EXPECT_EQ(Value(kEndpoint, ""), "");
  const std::string before = folder_.Contents("TavData");
  Destroy(0);
  EXPECT_EQ(Value(kEndpoint, ""), "(null)");
  EXPECT_EQ(Call(kSetViewValue, int{kClientView}, "Name", "x", 0), -1);
  EXPECT_EQ(Call(kCallStorage, 2), -1);
  Expect(kCallClientInfo, {{2, 0, -1}});
  Expect(kCallCacheManager, {{4, 0, -1}});
  ExpectProduct({{3, "", "", -1}});
  // The storage's lock is released, and nothing was written.
  EXPECT_EQ(folder_.Contents("TavData"), before);
  Open(false, true);
  EXPECT_EQ(Call(kCallStorage, 1), 0);
  Save();
}

}  // namespace
}  // namespace Tav::Testing
