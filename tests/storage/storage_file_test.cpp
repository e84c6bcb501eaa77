// Damaged files, interrupted saves, locked files: what an open finds, and what the next save
// leaves.
#include "storage/storage_file.h"

#include <algorithm>
#include <chrono>
#include <vector>

#include "storage/storage_fixture.h"
#include "support/held_file.h"

namespace Tav {
namespace {

namespace fs = std::filesystem;

using namespace Testing;

constexpr char kGood[] = R"({"Products": [{"Name": "App", "Version": "1.0", "Platform": "wntx64",)"
                         R"( "Values": {"k": "v"}}], "Endpoint": "e"})";
constexpr char kParse[] = "warning: PS: Open: error parsing JSON data for PS: Bad JSON value";
constexpr char kNoArray[] = "PS: Open: Prod array not found";
constexpr char kNoMap[] = "warning: PS: Product array element is not a map";
constexpr char kNewValues[] = "PS: Adding values map to PS";
constexpr char kUsesCopy[] = "warning: PS: Open: using the copy that an interrupted save left";
constexpr char kBadCopy[] =
    "warning: PS: Open: the copy that an interrupted save left holds no document";
constexpr char kWaits[] = "Waiting for the lock of ";

std::string DocumentOf(const std::string& product) {
  return R"({"Products": [{"Name": ")" + product +
         R"(", "Version": "1.0", "Platform": "wntx64"}], "Endpoint": "e"})";
}

struct Damage {
  const char* what;
  std::string contents;
  const char* message;
};

std::string WithProduct(const std::string& product) {
  return R"({"Products": [)" + product + "]}";
}

std::string WithMember(const std::string& member) {
  return WithProduct(R"({"Name": "App", "Version": "1.0", "Platform": "wntx64", )" + member + "}");
}

const std::vector<Damage>& Damages() {
  const std::string good = kGood;
  static const std::vector<Damage> damages = {
      {"empty", "", kParse},
      {"zeros", std::string(4096, '\0'), kParse},
      {"random bytes", "\x8F\x02\xFFPK\x03\x04", kParse},
      {"the end of a longer file behind it", good + "\"}]}", kParse},
      {"byte order mark", "\xEF\xBB\xBF" + good, kParse},
      {"Latin-1 text", "{\"Products\": [], \"OsName\": \"\xE9\"}", kParse},
      {"zero in a text", R"({"Products": [], "OsName": "a\u0000b"})", kParse},
      {"a key twice", R"({"Products": [], "a": "1", "a": "2"})", kParse},
      {"a number beyond all bounds", R"({"Products": [], "a": 1e999})", kParse},
      {"nested too deep", WithProduct(std::string(100000, '[') + std::string(100000, ']')), kParse},
      {"an array at the top", R"([{"Products": []}])", kNoArray},
      {"no products", R"({"Endpoint": "e"})", kNoArray},
      {"products in an object", R"({"Products": {}})", kNoArray},
      {"a product that is none", WithProduct(R"("App", null, [])"), kNoMap},
      {"a product without a name", WithProduct(R"({"Version": "1.0", "Platform": "wntx64"})"),
       "PS: Product not found (App,1.0,wntx64). Adding it."},
      {"values in an array", WithMember(R"("Values": ["k", "v"])"), kNewValues},
      {"settings a number", WithMember(R"("Settings": 1)"), kNewValues},
      {"inhibit an object", WithMember(R"("Inhibit": {"a": "b"})"),
       "PS: Adding inhibit array to PS"},
  };
  return damages;
}

class StorageFileTest : public StorageTest {
 protected:
  // Works on the document as a session does.
  void Fill() {
    AppView(Access::Update).SetValue("Server", "s");
    Values(Access::Update).SetValue("new", "1");
    Settings(Access::Update).SetValue("pause_time", EnvValue::Number(2));
    InhibitEventView inhibit = Inhibited(Access::Update);
    inhibit.Clear();
    inhibit.Append("Secret");
  }

  void ExpectFilled() {
    ASSERT_TRUE(storage_.Open(Access::Read));
    EXPECT_FALSE(storage_.HadParseError() || storage_.HadOpenError());
    EXPECT_TRUE(AppView().GetValue("Server", "s") && Values().GetValue("new", "1"));
    EXPECT_EQ(Settings().GetValue("pause_time").number, 2.0);
    EXPECT_EQ(Inhibited().Size(), 1U);
    EXPECT_EQ(Inhibited().Get(0), "Secret");
  }

  bool CopyExists(const char* name = "TavData.new") const { return fs::exists(folder_.Path(name)); }
};

TEST_F(StorageFileTest, DamageIsReportedAndRepairedByTheNextSave) {
  for (const Damage& damage : Damages()) {
    SCOPED_TRACE(damage.what);
    folder_.Put("TavData", damage.contents);
    log_.Take();
    ASSERT_TRUE(storage_.Open(Access::Update));
    EXPECT_FALSE(storage_.HadOpenError());
    EXPECT_EQ(storage_.HadParseError(), damage.message == kParse);
    Fill();
    EXPECT_NE(log_.Find(damage.message), "");
    storage_.CloseAndSave();
    ExpectFilled();
  }
}

TEST_F(StorageFileTest, AFileThatEndsAnywhereIsReadWholeOrNotAtAll) {
  const std::string good = kGood;
  for (size_t length = 0; length <= good.size(); ++length) {
    folder_.Put("TavData", good.substr(0, length));
    EXPECT_EQ(Products(), length < good.size() ? "" : "App,") << length;
    EXPECT_EQ(storage_.HadParseError(), length < good.size()) << length;
  }
}

TEST_F(StorageFileTest, DamageOfOneProductLeavesTheOthersAlone) {
  folder_.Put("TavData", R"({"Products": [7, {"Name": "App", "Version": "1.0",)"
                         R"( "Platform": "wntx64", "Values": false},)"
                         R"( {"Name": "Other", "Version": "1.0", "Platform": "wntx64",)"
                         R"( "Values": {"k": "v"}}], "Endpoint": "e"})");
  Change([this] { Fill(); });
  ExpectFilled();
  const ProductEnvView values(&storage_, Product("Other"), Section::Values, Access::Read);
  EXPECT_TRUE(values.GetValue("k", "v"));
  EXPECT_TRUE(ClientView(&storage_).GetValue("Endpoint", "e"));
}

TEST_F(StorageFileTest, ACopyReplacesAFileThatWasNotWrittenWhole) {
  const std::string copy = DocumentOf("App");
  for (const std::string& rest : {std::string(), copy.substr(0, copy.size() / 2)}) {
    for (const bool timestamps : {false, true}) {
      folder_.Put(timestamps ? "TsTavData" : "TavData", rest);
      folder_.Put(timestamps ? "TsTavData.new" : "TavData.new", copy);
      log_.Take();
      EXPECT_EQ(Products(Access::Read, timestamps), "App,");
      EXPECT_TRUE(storage_.HadParseError());  // of the file, not of the copy
      EXPECT_FALSE(storage_.HadOpenError());
      EXPECT_NE(log_.Find("warning: PS: Open: error parsing JSON data for PS: "), "");
      EXPECT_EQ(log_.Find("warning: PS: Open: using"), kUsesCopy);
      storage_.CloseAndSave();  // opened for reading: the file stays as it is

      EXPECT_EQ(Products(Access::Update, timestamps), "App,");
      AddProduct("New");
      storage_.CloseAndSave();
      EXPECT_FALSE(CopyExists() || CopyExists("TsTavData.new"));
      EXPECT_EQ(Products(Access::Read, timestamps), "App,New,");
      EXPECT_FALSE(storage_.HadParseError());
    }
  }
}

TEST_F(StorageFileTest, ACopyBesideAWholeFileIsIgnoredAndRemoved) {
  for (const std::string& copy : {DocumentOf("Copy"), std::string("{\"Pro")}) {
    folder_.Put("TavData", DocumentOf("App"));
    folder_.Put("TavData.new", copy);
    EXPECT_EQ(Products(Access::Update), "App,");
    EXPECT_FALSE(storage_.HadParseError());
    EXPECT_TRUE(CopyExists());
    storage_.CloseAndSave();
    EXPECT_FALSE(CopyExists());
    EXPECT_EQ(Products(), "App,");
    EXPECT_EQ(log_.Find("warning:"), "");
  }
  // Other JSON is a whole file, too: no save was interrupted.
  folder_.Put("TavData", "{}");
  folder_.Put("TavData.new", DocumentOf("Copy"));
  EXPECT_EQ(Products(), "");
}

TEST_F(StorageFileTest, ACopyWithoutADocumentIsReplaced) {
  for (const char* const copy : {"", R"({"Products": [)", R"({"Products": {}})", "[]"}) {
    folder_.Put("TavData", "");
    folder_.Put("TavData.new", copy);
    log_.Take();
    EXPECT_EQ(Products(Access::Update), "") << copy;
    EXPECT_EQ(log_.Find("warning: PS: Open: the copy"), kBadCopy) << copy;
    AddProduct("App");
    storage_.CloseAndSave();
    EXPECT_FALSE(CopyExists());
    EXPECT_EQ(Products(), "App,");
  }
}

TEST_F(StorageFileTest, WithoutACopyTheFileIsNotTouched) {
  folder_.Put("TavData", DocumentOf("App"));
  fs::create_directory(folder_.Path("TavData.new"));
  ASSERT_EQ(Products(Access::Update), "App,");
  AddProduct("New");
  log_.Take();
  storage_.CloseAndSave();
  EXPECT_GT(log_.Find("error: PS: Open failed: ").size(), 24U) << log_.Find("error");
  EXPECT_EQ(folder_.Contents("TavData"), DocumentOf("App"));

  folder_.Put("TavData", "");
  EXPECT_EQ(Products(), "");
}

TEST_F(StorageFileTest, DestroyDeletesFilesAndCopiesAndStopsAtTheFirstThatStays) {
  for (const char* const name : {"TavData.new", "TsTavData", "TsTavData.new"}) {
    folder_.Put(name, DocumentOf("App"));
  }
  EXPECT_TRUE(storage_.Destroy());
  EXPECT_TRUE(fs::is_empty(folder_.Path("")));

  // Without its file a copy would be read again, so the copy is deleted first.
  folder_.Put("TavData", DocumentOf("App"));
  folder_.Put("TsTavData", "{}");
  fs::create_directories(folder_.Path("TavData.new") / "inside");
  EXPECT_FALSE(storage_.Destroy());
  EXPECT_TRUE(fs::exists(folder_.Path("TavData")));
  EXPECT_TRUE(fs::exists(folder_.Path("TsTavData")));
  EXPECT_NE(log_.Find("PS: Could not remove PS file '"), "");
}

HeldFile* heldFile = nullptr;

// A log sink that releases the file as soon as a storage waits for it.
void ReleaseHolder(const char* line) {
  CapturedLog::Receive(line);
  if (std::string(line).starts_with(kWaits)) {
    heldFile->Release();
  }
}

TEST_F(StorageFileTest, AFileHeldBrieflyIsWaitedFor) {
  folder_.Put("TavData", DocumentOf("App"));
  ConfigureLogger(ReleaseHolder, nullptr, true);
  Internal::logThreshold = static_cast<int>(LogLevel::Trace);
  for (const Hold hold : {Hold::Locked, Hold::NotShared}) {
    log_.Take();
    HeldFile held(folder_.Path("TavData"), hold);
    heldFile = &held;
    EXPECT_TRUE(storage_.IsLocked(PersistentStorage::Document::Main));
    EXPECT_EQ(Products(Access::Update), "App,");
    EXPECT_FALSE(storage_.HadOpenError() || storage_.WasLocked());
    EXPECT_NE(log_.Find(kWaits), "");
    EXPECT_EQ(log_.Find("warning:") + log_.Find("error:"), "");
    storage_.Close(Changes::Discard);
    EXPECT_FALSE(storage_.IsLocked(PersistentStorage::Document::Main));
  }
}

TEST_F(StorageFileTest, AFileHeldForLongIsEmptyToOthersAndStaysAsItIs) {
  folder_.Put("TavData", DocumentOf("App"));
  for (const Hold hold : {Hold::Locked, Hold::NotShared}) {
    for (const Access access : {Access::Read, Access::Update}) {
      const HeldFile held(folder_.Path("TavData"), hold);
      log_.Take();
      const auto start = std::chrono::steady_clock::now();
      EXPECT_EQ(Products(access), "");
      EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
      EXPECT_TRUE(storage_.HadOpenError() && storage_.WasLocked() && !storage_.HadParseError());
      AddProduct("Other");
      storage_.CloseAndSave();
      EXPECT_FALSE(storage_.HadOpenError() || storage_.WasLocked());
      const std::vector<std::string> lines = log_.Take();
      EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                              [](const std::string& line) {
                                return line.starts_with("warning:") || line.starts_with("error:");
                              }),
                1);
    }
  }
  EXPECT_EQ(Products(), "App,");
}

TEST_F(StorageFileTest, AFileThatCannotBeOpenedIsReportedAtOnceAndStays) {
  EXPECT_FALSE(storage_.IsLocked(PersistentStorage::Document::Main));
  EXPECT_FALSE(fs::exists(folder_.Path("TavData"))) << "a look creates no file";
  fs::create_directory(folder_.Path("TavData"));
  EXPECT_EQ(Products(Access::Update), "");
  EXPECT_TRUE(storage_.HadOpenError());
  EXPECT_FALSE(storage_.HadParseError() || storage_.WasLocked());
  EXPECT_FALSE(storage_.IsLocked(PersistentStorage::Document::Main));
  EXPECT_EQ(log_.Find("error: "), "error: PS: Cannot open PS file");
  EXPECT_EQ(log_.Find(kWaits) + log_.Find("warning:"), "");
  AddProduct("App");
  storage_.CloseAndSave();
  EXPECT_TRUE(fs::is_directory(folder_.Path("TavData")));
}

}  // namespace
}  // namespace Tav
