#include "storage/product_info.h"

#include <vector>

#include "storage/storage_fixture.h"
#include "util/time_stamp.h"

namespace Tav {
namespace {

using namespace Testing;
using Entries = std::vector<std::string>;

constexpr char kGateway[] = "https://g/";

JsonPtr Json(const std::string& text) {
  return JsonPtr(json_loads(text.c_str(), JSON_DECODE_ANY, nullptr));
}

// An environment as "key=value" lines; "null" when there is none.
Entries Shown(const EnvMap* map) {
  if (map == nullptr) {
    return {"null"};
  }
  Entries lines;
  for (const auto& [key, value] : *map) {
    const bool isText = value.type == EnvType::String;
    lines.push_back(key + "=" + (isText ? value.text : std::to_string(value.number)));
  }
  return lines;
}

// Values set before initialisation, from JSON: objects are maps.
PendingProductValues PendingValues(const std::string& json) {
  const JsonPtr values = Json(json);
  PendingProductValues pending;
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(values.Get(), key, value) {
    pending[key].value = ToEnvValue(value);
    pending[key].isMap = json_is_object(value);
    pending[key].payload = json_is_object(value) ? JsonPtr::Share(value) : JsonPtr();
  }
  return pending;
}

class ProductInfoTest : public StorageTest {
 protected:
  static ProductInfo App(const std::string& json) {
    const PendingProductValues values = PendingValues(json);
    return ProductInfo("App", "1.0", &values);
  }

  // The start of a run: the result of IsChanged, with the stored values loaded.
  bool Start(ProductInfo& product) {
    EXPECT_TRUE(storage_.Open(Access::Read));
    const bool changed = product.IsChanged(&storage_);
    product.LoadEnvFromPS(&storage_);
    return changed;
  }

  // A run that sends everything.
  void RunAndSend(const std::string& json) {
    ProductInfo product = App(json);
    Start(product);
    product.SetServer(kGateway);
    Change([&] { product.PersistToPS(&storage_); });
  }

  // A stored value of the product itself.
  std::string Stored(const std::string& key) {
    EXPECT_TRUE(storage_.Open(Access::Read));
    return AppView().GetValue(key).text;
  }

  Entries StoredValues() {
    EXPECT_TRUE(storage_.Open(Access::Read));
    const ProductEnvView stored = Values();
    EnvMap values;
    for (const std::string& key : stored.GetKeys()) {
      values[key] = stored.GetValue(key);
    }
    return Shown(&values);
  }

  static Entries ToSend(const ProductInfo& product, bool expectIncremental) {
    bool isIncremental = !expectIncremental;
    const EnvMap* const values = product.GetEnvData(isIncremental);
    EXPECT_EQ(isIncremental, expectIncremental);
    return Shown(values);
  }
};

TEST_F(ProductInfoTest, AnUnknownProductIsSentInFullAndStored) {
  ProductInfo product = App(R"({"std-OptOut": "false", "seats": 5, "lang": {"ui": "en"}})");
  EXPECT_TRUE(Start(product));
  EXPECT_EQ(log_.Find("PI: Ch"), "PI: Changed (not registered)");
  EXPECT_EQ(log_.Find("PI: (App"), "PI: (App,1.0,wntx64): changed, incremental: 0");
  EXPECT_EQ(product.GetServer(), "");
  product.SetServer(kGateway);
  const Entries all = {"lang.ui=en", "seats=5.000000", "std-OptOut=false"};
  EXPECT_EQ(ToSend(product, false), all);
  EXPECT_TRUE(StoredValues().empty());  // nothing is stored yet

  const int64_t before = CurrentTime();
  Change([&] { product.PersistToPS(&storage_); });
  EXPECT_EQ(StoredValues(), all);
  EXPECT_EQ(Stored("Server"), kGateway);
  EXPECT_GE(std::stoll(Stored("Registered")), before);
  EXPECT_LE(std::stoll(Stored("Registered")), CurrentTime());
  EXPECT_EQ(ToSend(product, true), Entries{"null"});
}

TEST_F(ProductInfoTest, AKnownProductSendsWhatDiffers) {
  RunAndSend(R"({"a": "1", "b": 2, "gone": "kept"})");
  ProductInfo same = App(R"({"a": "1", "b": 2.000001})");
  EXPECT_FALSE(Start(same));
  EXPECT_EQ(same.GetServer(), kGateway);
  EXPECT_EQ(ToSend(same, true), Entries{"null"});

  ProductInfo other = App(R"({"a": "2", "b": "2", "c": 3})");
  EXPECT_TRUE(Start(other));
  EXPECT_NE(log_.Find("PI: Changed (incremental). Key: a, type: 1, strData: 2, numData: 0.0"), "");
  EXPECT_EQ(ToSend(other, true), (Entries{"a=2", "b=2", "c=3.000000"}));
  other.SetServer("https://elsewhere/");
  EXPECT_EQ(ToSend(other, false), (Entries{"a=2", "b=2", "c=3.000000", "gone=kept"}));
  Change([&] { other.PersistToPS(&storage_); });
  EXPECT_EQ(StoredValues(), (Entries{"a=2", "b=2", "c=3.000000", "gone=kept"}));
  EXPECT_EQ(ToSend(other, true), Entries{"null"});

  // An application that sets nothing changes nothing; the stored values stay.
  ProductInfo silent("App", "1.0", nullptr);
  EXPECT_FALSE(Start(silent));
  EXPECT_EQ(ToSend(silent, false), (Entries{"a=2", "b=2", "c=3.000000", "gone=kept"}));
}

TEST_F(ProductInfoTest, OddDocumentsCountAsChanged) {
  const auto put = [this](const std::string& members) {
    folder_.Put("TavData", R"({"Products": [{"Name": "App", "Version": "1.0",)"
                           R"( "Platform": "wntx64")" +
                               members + "}]}");
  };
  put(R"(, "Registered": "1", "Server": 7, "Values": {"n": 3, "x": true})");
  ProductInfo integer = App(R"({"n": 3})");
  EXPECT_TRUE(Start(integer));
  EXPECT_EQ(integer.GetServer(), "");
  EXPECT_EQ(ToSend(integer, true), Entries{"n=3.000000"});
  EnvValue value;
  EXPECT_FALSE(integer.FindEnvValue("x", value));

  for (const char* const members :
       {R"(, "Registered": "1", "Values": {})", R"(, "Registered": "", "Values": {"n": 3.0})",
        R"(, "Registered": 1767225600, "Values": {"n": 3.0})"}) {
    put(members);
    ProductInfo product = App(R"({"n": 3})");
    EXPECT_TRUE(Start(product)) << members;
    EXPECT_EQ(ToSend(product, false), Entries{"n=3.000000"}) << members;
  }
  EXPECT_NE(log_.Find("PI: Changed (PE in PS is empty)"), "");

  // Neither registered nor described by its application.
  ProductInfo nothing("New", "1.0", nullptr);
  EXPECT_FALSE(nothing.FindEnvValue("n", value));
  ASSERT_TRUE(storage_.Open(Access::Read));
  EXPECT_TRUE(nothing.IsChanged(&storage_));
  EXPECT_EQ(ToSend(nothing, false), Entries{"null"});
}

TEST_F(ProductInfoTest, AnOptedOutProductSendsOnlyThat) {
  ProductInfo unknown = App(R"({"std-OptOut": "true", "a": "1"})");
  EXPECT_TRUE(Start(unknown));
  EXPECT_EQ(ToSend(unknown, true), Entries{"std-OptOut=true"});

  RunAndSend(R"({"std-OptOut": "true", "a": "1"})");
  ProductInfo known = App(R"({"std-OptOut": "true", "a": "2"})");
  EXPECT_TRUE(Start(known));
  EXPECT_EQ(ToSend(known, true), Entries{"a=2"});
}

TEST_F(ProductInfoTest, AnOptOutThatWasNotSentIsTakenBackLater) {
  RunAndSend(R"({"std-OptOut": "false"})");
  ProductInfo optedOut = App(R"({"std-OptOut": "true"})");
  EXPECT_TRUE(Start(optedOut));
  EXPECT_TRUE(optedOut.IsPendingOptOutCleared());
  Change([&] { optedOut.PersistPendingOptOut(&storage_); });
  EXPECT_FALSE(optedOut.IsPendingOptOutCleared());
  EXPECT_EQ(Stored("PendingStdOptOut"), "true");

  ProductInfo optedIn = App(R"({"std-OptOut": "false"})");
  EXPECT_TRUE(Start(optedIn));
  EXPECT_FALSE(optedIn.IsPendingOptOutCleared());
  EXPECT_EQ(ToSend(optedIn, true), Entries{"std-OptOut=false"});

  Change([&] { optedIn.ClearPendingOptOut(&storage_); });
  EXPECT_TRUE(optedIn.IsPendingOptOutCleared());
  EXPECT_EQ(Stored("PendingStdOptOut"), "");

  Change([&] { optedIn.PersistPendingOptOut(&storage_); });
  EXPECT_EQ(Stored("PendingStdOptOut"), "false");
  ProductInfo again = App(R"({"std-OptOut": "false"})");
  EXPECT_FALSE(Start(again));
  EXPECT_FALSE(again.IsPendingOptOutCleared());
  Change([&] { again.PersistToPS(&storage_); });
  EXPECT_TRUE(again.IsPendingOptOutCleared());
  EXPECT_EQ(Stored("PendingStdOptOut"), "");
}

TEST_F(ProductInfoTest, ChangesOfARunningSessionAreCollected) {
  ProductInfo product("App", "1.0", nullptr);
  Start(product);
  EXPECT_TRUE(product.UpdateProductEnv("a", Json("1").Get(), false));
  EXPECT_EQ(ToSend(product, false), Entries{"a=1.000000"});
  Change([&] { product.PersistToPS(&storage_); });

  EXPECT_TRUE(product.UpdateProductEnv("a", Json("1").Get(), false));  // an integer never equals
  EXPECT_FALSE(product.UpdateProductEnv("a", Json("1.000001").Get(), false));
  EXPECT_EQ(log_.Take().back(), "PI: UpdateProductEnv (simple k/v). NOT changed.");
  EXPECT_TRUE(product.UpdateProductEnv("l", Json(R"({"0": "x", "1": "y"})").Get(), false));
  EXPECT_FALSE(product.UpdateProductEnv("l", Json(R"({"0": "x", "1": "y"})").Get(), false));
  EXPECT_EQ(ToSend(product, true), (Entries{"a=1.000000", "l:0=x", "l:1=y"}));
  // Removing l:0 is part of the same change and not reported; the stored values stay.
  EXPECT_TRUE(product.UpdateProductEnv("l", Json(R"({"1": "y", "2": "z"})").Get(), false));
  EXPECT_EQ(ToSend(product, true), (Entries{"a=1.000000", "l:1=y", "l:2=z"}));
  EXPECT_EQ(StoredValues(), Entries{"a=1.000000"});
}

TEST_F(ProductInfoTest, ElementsThatAreOnlyGoneAreErasedFromTheStorageAtOnce) {
  RunAndSend(R"({"k": {"a": "1", "b": "2"}, "kind": "x"})");
  Change([&] { AddProduct("Other"); });
  ProductInfo product("App", "1.0", nullptr);
  Start(product);
  log_.Take();
  EXPECT_FALSE(product.UpdateProductEnv("k", Json(R"({"b": "2"})").Get(), true));
  EXPECT_NE(log_.Find("PI: persist to PS: key: k.b, type: 1, strData: 2, numData: 0.0"), "");
  EXPECT_EQ(StoredValues(), (Entries{"k.b=2", "kind=x"}));
  EXPECT_EQ(Stored("Server"), kGateway);
  EXPECT_EQ(Products(), "App,Other,");

  // List elements replace the map elements of the same key.
  EXPECT_TRUE(product.UpdateProductEnv("k", Json(R"({"0": "2"})").Get(), false));
  EXPECT_EQ(log_.Find("PI: Erasing k.b"), "PI: Erasing k.b");
  EXPECT_FALSE(product.UpdateProductEnv("k", Json("{}").Get(), true));
  EXPECT_EQ(StoredValues(), Entries{"kind=x"});
}

}  // namespace
}  // namespace Tav
