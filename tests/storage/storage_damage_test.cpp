// Whatever stands in a storage file, the library starts, says what is wrong, and has a good file
// again after the next save.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "storage/storage_views.h"
#include "support/storage_folder.h"

namespace Tav {
namespace {

namespace fs = std::filesystem;

using ProductEnvView = PersistentStorage::ProductEnvView;
using ProductView = PersistentStorage::ProductView;

constexpr char kPlatform[] = "wntx64";
constexpr char kGood[] = R"({"Products": [{"Name": "App", "Version": "1.0", "Platform": "wntx64",)"
                         R"( "Values": {"k": "v"}}], "Endpoint": "e"})";
constexpr char kParse[] = "warning: PS: Open: error parsing JSON data for PS: Bad JSON value";
constexpr char kNoArray[] = "PS: Open: Prod array not found";
constexpr char kNoMap[] = "warning: PS: Product array element is not a map";
constexpr char kNewValues[] = "PS: Adding values map to PS";

struct Damage {
  const char* what;
  std::string contents;
  const char* message;
};

std::string Nested(size_t depth) {
  return R"({"Products": )" + std::string(depth, '[') + std::string(depth, ']') + "}";
}

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
      {"white space", "  \r\n", kParse},
      {"zeros", std::string(4096, '\0'), kParse},
      {"random bytes", "\x8F\x02\xFFPK\x03\x04", kParse},
      {"cut short", good.substr(0, good.size() / 2), kParse},
      {"the end of a longer file behind it", good + "\"}]}", kParse},
      {"written twice", good + good, kParse},
      {"byte order mark", "\xEF\xBB\xBF" + good, kParse},
      {"UTF-16", std::string("\xFF\xFE{\0}\0", 6), kParse},
      {"Latin-1 text",
       R"({"Products": [], "OsName": ")"
       "\xE9"
       R"("})",
       kParse},
      {"zero in a text", R"({"Products": [], "OsName": "a\u0000b"})", kParse},
      {"a key twice", R"({"Products": [], "a": "1", "a": "2"})", kParse},
      {"a number beyond all bounds", R"({"Products": [], "a": 1e999})", kParse},
      {"nested too deep", Nested(100000), kParse},
      {"an array at the top", R"([{"Products": []}])", kNoArray},
      {"no products", R"({"Endpoint": "e"})", kNoArray},
      {"products in an object", R"({"Products": {}})", kNoArray},
      {"products null", R"({"Products": null})", kNoArray},
      {"a product that is none", WithProduct(R"("App", null, [])"), kNoMap},
      {"a product without a name", WithProduct(R"({"Version": "1.0", "Platform": "wntx64"})"),
       "PS: Product not found (App,1.0,wntx64). Adding it."},
      {"values in an array", WithMember(R"("Values": ["k", "v"])"), kNewValues},
      {"values in a text", WithMember(R"("Values": "v")"), kNewValues},
      {"settings a number", WithMember(R"("Settings": 1)"), kNewValues},
      {"inhibit an object", WithMember(R"("Inhibit": {"a": "b"})"),
       "PS: Adding inhibit array to PS"},
  };
  return damages;
}

class StorageDamageTest : public testing::Test {
 protected:
  // Works on the file as a session does.
  static void Fill(PersistentStorage& storage) {
    ProductView(&storage, "App", "1.0", kPlatform).SetValue("Server", "s");
    ProductEnvView(&storage, "App", "1.0", kPlatform, false).SetValue("new", "1");
    ProductEnvView(&storage, "App", "1.0", kPlatform, true)
        .SetValue("pause_time", EnvValue::Number(2));
    PersistentStorage::InhibitEventView inhibit(&storage, "App", "1.0", kPlatform);
    inhibit.Clear();
    inhibit.Append("Secret");
  }

  static void ExpectFilled(PersistentStorage& storage) {
    ASSERT_TRUE(storage.Open(false));
    EXPECT_FALSE(storage.HadParseError() || storage.HadOpenError());
    const ProductView product(&storage, "App", "1.0", kPlatform);
    EXPECT_FALSE(product.Added());
    EXPECT_TRUE(product.GetValue("Server", "s"));
    const ProductEnvView values(&storage, "App", "1.0", kPlatform, false);
    EXPECT_TRUE(values.GetValue("new", "1"));
    const ProductEnvView settings(&storage, "App", "1.0", kPlatform, true);
    EXPECT_EQ(settings.GetValue("pause_time").number, 2.0);
    const PersistentStorage::InhibitEventView inhibit(&storage, "App", "1.0", kPlatform);
    EXPECT_EQ(inhibit.Size(), 1U);
    EXPECT_EQ(inhibit.Get(0), "Secret");
    storage.Close(false);
  }

  Testing::StorageFolder folder_;
  Testing::CapturedLog log_;
  PersistentStorage storage_;
};

TEST_F(StorageDamageTest, IsReportedAndRepairedByTheNextSave) {
  for (const bool timestamps : {false, true}) {
    for (const Damage& damage : Damages()) {
      SCOPED_TRACE(damage.what);
      folder_.Put(timestamps ? "TsTavData" : "TavData", damage.contents);
      log_.Take();
      ASSERT_TRUE(timestamps ? storage_.OpenTimestamps(true) : storage_.Open(true));
      EXPECT_FALSE(storage_.HadOpenError());
      EXPECT_EQ(storage_.HadParseError(), damage.message == kParse);
      Fill(storage_);
      EXPECT_NE(log_.Find(damage.message), "");
      storage_.CloseAndSave();
      if (!timestamps) {
        ExpectFilled(storage_);
      }
    }
  }
}

TEST_F(StorageDamageTest, AFileThatEndsAnywhereIsReadWholeOrNotAtAll) {
  const std::string good = kGood;
  for (size_t length = 0; length <= good.size(); ++length) {
    folder_.Put("TavData", good.substr(0, length));
    ASSERT_TRUE(storage_.Open(false));
    EXPECT_EQ(storage_.HadParseError(), length < good.size()) << length;
    EXPECT_EQ(storage_.GetProducts().size(), length < good.size() ? 0U : 1U) << length;
  }
}

TEST_F(StorageDamageTest, OfOneProductLeavesTheOthersAlone) {
  folder_.Put("TavData", R"({"Products": [7, {"Name": "App", "Version": "1.0",)"
                         R"( "Platform": "wntx64", "Values": false},)"
                         R"( {"Name": "Other", "Version": "1.0", "Platform": "wntx64",)"
                         R"( "Values": {"k": "v"}}], "Endpoint": "e"})");
  ASSERT_TRUE(storage_.Open(true));
  Fill(storage_);
  storage_.CloseAndSave();
  ExpectFilled(storage_);
  ASSERT_TRUE(storage_.Open(false));
  EXPECT_TRUE(ProductEnvView(&storage_, "Other", "1.0", kPlatform, false).GetValue("k", "v"));
  EXPECT_TRUE(PersistentStorage::ClientView(&storage_).GetValue("Endpoint", "e"));
}

TEST_F(StorageDamageTest, AFileThatCannotBeOpenedIsReportedAndLeftAlone) {
  fs::create_directory(folder_.Path("TavData"));
  ASSERT_TRUE(storage_.Open(true));
  EXPECT_TRUE(storage_.HadOpenError());
  EXPECT_FALSE(storage_.HadParseError());
  EXPECT_EQ(log_.Find("error: "), "error: PS: Cannot open PS file");
  Fill(storage_);
  storage_.CloseAndSave();
  EXPECT_TRUE(fs::is_directory(folder_.Path("TavData")));
}

}  // namespace
}  // namespace Tav
