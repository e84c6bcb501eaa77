#include "storage/persistent_storage.h"

#include <chrono>
#include <cmath>
#include <new>
#include <thread>
#include <vector>

#include "storage/storage_fixture.h"
#include "support/failing_json.h"

namespace Tav {
namespace {

namespace fs = std::filesystem;

using namespace Testing;
using PersistentStorageTest = StorageTest;

TEST_F(PersistentStorageTest, SavesAllViewsInTheDocumentedLayout) {
  // Reading a missing file does not create it. Neither that nor a new file is an error.
  ASSERT_TRUE(storage_.Open(Access::Read));
  EXPECT_FALSE(fs::exists(folder_.Path("TavData")));
  ASSERT_TRUE(storage_.Open(Access::Update));
  EXPECT_FALSE(storage_.HadParseError() || storage_.HadOpenError());
  EXPECT_EQ(log_.Find("warning: "), "");
  ClientView(&storage_).SetValue("OsName", "W\u00EFndows");
  ProductView product = AppView(Access::Update);
  EXPECT_TRUE(product.Added());
  EXPECT_TRUE(product.SetValue("Server", "https://x/"));
  EXPECT_TRUE(product.SetValue("LastActive", EnvValue::Number(20000)));
  Values(Access::Update).SetValue("std-OptOut", "false");
  Settings(Access::Update).SetValue("pause_time", EnvValue::Number(1));
  Inhibited(Access::Update).Append("Secret");
  EXPECT_TRUE(storage_.CloseAndSave());
  EXPECT_EQ(folder_.Contents("TavData"), R"({
    "Products": [
        {
            "Name": "App",
            "Version": "1.0",
            "Platform": "wntx64",
            "Server": "https://x/",
            "LastActive": 20000.0,
            "Values": {
                "std-OptOut": "false"
            },
            "Settings": {
                "pause_time": 1.0
            },
            "Inhibit": [
                "Secret"
            ]
        }
    ],
    "OsName": "W\u00EFndows"
})");

  ASSERT_TRUE(storage_.Open(Access::Read));
  EXPECT_TRUE(ClientView(&storage_).GetValue("OsName", "W\u00EFndows"));
  EXPECT_FALSE(AppView(Access::Update).Added());
  EXPECT_EQ(Values().GetKeys(), std::vector<std::string>{"std-OptOut"});
  EXPECT_EQ(Inhibited().Get(1), "");
}

TEST_F(PersistentStorageTest, ViewsCheckWhatTheyTakeAndFind) {
  folder_.Put("TavData", R"({"Products": [], "flag": true, "three": 3, "real": 3.0, "text": "a"})");
  ASSERT_TRUE(storage_.Open(Access::Update));
  ClientView view(&storage_);
  log_.Take();
  EXPECT_EQ(view.GetValue("flag").type, EnvType::None);
  EXPECT_EQ(log_.Take(), std::vector<std::string>{"error: PS: key flag has invalid type 5"});
  EXPECT_EQ(view.GetValue("three").number, 3.0);
  EXPECT_EQ(view.GetValue("absent").type, EnvType::None);

  EXPECT_FALSE(view.VerifyValue("three", EnvValue::Number(3)));
  EXPECT_TRUE(view.VerifyValue("real", EnvValue::Number(3.000001)));
  EXPECT_FALSE(view.VerifyValue("real", EnvValue::Number(3.001)));
  EXPECT_TRUE(view.VerifyValue("text", EnvValue::String("a")));
  EXPECT_FALSE(view.VerifyValue("text", EnvValue::Number(0)));
  EXPECT_FALSE(view.VerifyValue("absent", EnvValue::String("")));

  log_.Take();
  EXPECT_FALSE(view.SetValue("real", EnvValue::Number(std::nan(""))));
  EXPECT_FALSE(view.SetValue("real", EnvValue()));
  EXPECT_FALSE(view.SetValue("text", std::string("\xFF")));
  EXPECT_FALSE(view.SetValue("text", std::string("a\0b", 3)));  // could not be read again
  EXPECT_FALSE(view.SetValue("\xFF", "value"));
  EXPECT_FALSE(view.RemoveValue("absent"));
  const std::vector<std::string> lines = log_.Take();
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_TRUE(lines[0].ends_with("cannot be convert to new JSON real. Key: real")) << lines[0];
  EXPECT_EQ(lines[1], "error: PS: SetValue - value data type 0 is not supported. Key: real");
  EXPECT_EQ(lines[2], "warning: PS: SetValue string cannot be convert to JSON");
  EXPECT_EQ(lines[3], lines[2]);
  EXPECT_EQ(lines[4], "warning: PS: SetValue failed with -1 for '\xFF' 'value'");
  EXPECT_EQ(lines[5], "warning: PS: RemoveValue failed with -1");
  EXPECT_EQ(view.GetValue("real").number, 3.0);
  EXPECT_TRUE(view.RemoveValue("text"));
  EXPECT_EQ(view.GetValue("text").type, EnvType::None);
}

// A host's version may have what the library takes for UTF-8 and JSON does not: a surrogate.
TEST_F(PersistentStorageTest, AProductIsFoundWhateverItsVersion) {
  const ProductIdentity odd = Product("Odd", "\xED\xA0\x80");
  for (int run = 0; run < 2; ++run) {
    Change([&] {
      ProductEnvView values(&storage_, odd, Section::Values, Access::Update);
      EXPECT_EQ(values.GetValue("Edition", "Pro"), run > 0);
      values.SetValue("Edition", std::string("Pro"));
    });
  }
  EXPECT_EQ(Products(), "Odd,");
}

TEST_F(PersistentStorageTest, AProductIsAddedOnceAndWholeWhenMemoryRunsOut) {
  const ProductIdentity odd = Product("Odd", "\xED\xA0\x80");
  ASSERT_TRUE(storage_.Open(Access::Update));
  bool failed = true;
  for (int successes = 0; failed; ++successes) {
    const FailingJson failing(successes);
    try {
      const ProductView view(&storage_, odd, Access::Update);
    } catch (const std::bad_alloc&) {
      EXPECT_TRUE(failing.Failed());
    }
    failed = failing.Failed();
  }
  const std::vector<ProductIdentity> products = storage_.GetProducts();
  ASSERT_EQ(products.size(), 1u);
  EXPECT_EQ(products[0].name + products[0].version + products[0].platform,
            "Odd\xC3\xAD\xC2\xA0\xC2\x80wntx64");
}

TEST_F(PersistentStorageTest, ViewsOfAClosedStorageFailSoftly) {
  ClientView client(&storage_);
  ProductView product = AppView(Access::Update);
  EXPECT_EQ(log_.Take().back(), "error: PS: creating Prod view (App,1.0,wntx64): PS is not open.");
  ProductEnvView values = Values(Access::Update);
  InhibitEventView inhibit = Inhibited(Access::Update);
  for (PersistentStorage::View* view :
       std::initializer_list<PersistentStorage::View*>{&client, &product, &values, &inhibit}) {
    EXPECT_EQ(view->GetValue("k").type, EnvType::None);
    EXPECT_FALSE(view->SetValue("k", "v") || view->SetValue("k", EnvValue::Number(1)));
    EXPECT_FALSE(view->RemoveValue("k"));
    EXPECT_FALSE(view->VerifyValue("k", EnvValue::Number(1)) || view->GetValue("k", "v"));
  }
  values.Clear();
  inhibit.Append("x");
  EXPECT_EQ(values.Size() + inhibit.Size() + storage_.GetProducts().size(), 0U);
  EXPECT_FALSE(storage_.RemoveProduct(app_));
}

TEST_F(PersistentStorageTest, ViewsForReadingChangeNothing) {
  folder_.Put("TavData", R"({"Products": [{"Name": "App", "Version": "1.0",)"
                         R"( "Platform": "wntx64", "Values": {"k": "v"}, "Inhibit": {}}]})");
  Change([] {});
  const std::string before = folder_.Contents("TavData");
  Change([this] {
    for (const ProductIdentity& product : {app_, Product("Other")}) {
      ProductView own(&storage_, product, Access::Read);
      EXPECT_FALSE(own.Added() || own.SetValue("Server", "s"));
      ProductEnvView values(&storage_, product, Section::Values, Access::Read);
      values.Clear();
      EXPECT_FALSE(values.SetValue("k", "w") || values.RemoveValue("k"));
      EXPECT_EQ(values.GetKeys().size(), product.name == "App" ? 1U : 0U);
      const ProductEnvView settings(&storage_, product, Section::Settings, Access::Read);
      InhibitEventView inhibit(&storage_, product, Access::Read);
      inhibit.Append("e");
      EXPECT_EQ(settings.Size() + inhibit.Size(), 0U);
    }
  });
  EXPECT_EQ(folder_.Contents("TavData"), before);
}

TEST_F(PersistentStorageTest, WritesOnlyWhatWasOpenedForUpdateAndSaved) {
  Change([this] { AddProduct("App"); });
  const std::string before = folder_.Contents("TavData");

  ASSERT_TRUE(storage_.Open(Access::Read));
  EXPECT_TRUE(ProductView(&storage_, Product("App", "2.0"), Access::Update).Added());
  ASSERT_EQ(storage_.GetProducts().size(), 2U);
  EXPECT_EQ(storage_.GetProducts()[1].version, "2.0");
  storage_.CloseAndSave();
  ASSERT_TRUE(storage_.Open(Access::Update));
  EXPECT_TRUE(storage_.RemoveProduct(app_));
  EXPECT_FALSE(storage_.RemoveProduct(app_));
  storage_.Close(Changes::Discard);
  EXPECT_EQ(folder_.Contents("TavData"), before);

  // A second open discards the first document.
  ASSERT_TRUE(storage_.Open(Access::Update));
  storage_.RemoveProduct(app_);
  ASSERT_TRUE(storage_.OpenTimestamps(Access::Update));
  ClientView(&storage_).SetValue("LastClientQuery", EnvValue::Number(20001));
  storage_.CloseAndSave();
  EXPECT_EQ(folder_.Contents("TavData"), before);
  EXPECT_TRUE(folder_.Contents("TsTavData").ends_with("\"LastClientQuery\": 20001.0\n}"));
}

TEST_F(PersistentStorageTest, OpensElsewhereOrNotAtAll) {
  const fs::path other = folder_.Base() / u8"\u0416";
  fs::create_directory(other);
  PersistentStorage::SetAlternatePS(StorageFolder::Utf8(other) + "/Mine");
  Change([] {});
  ASSERT_TRUE(storage_.OpenTimestamps(Access::Update));
  storage_.CloseAndSave();
  EXPECT_TRUE(fs::exists(other / "Mine") && fs::exists(other / "TsMine"));

  PersistentStorage::SetAlternatePSDirectory("");
  SetEnvironment("LOCALAPPDATA", nullptr);
  ForgetStorageDirectory();
  EXPECT_FALSE(storage_.Open(Access::Update));
  EXPECT_EQ(log_.Take().back(), "error: PS: Open (update: 1): Could not form PS spec.");
  EXPECT_FALSE(storage_.Destroy());
}

TEST_F(PersistentStorageTest, ProductsThatShareTheFileLoseNothingToEachOther) {
  constexpr int kProducts = 4;
  constexpr int kRounds = 25;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  std::vector<std::thread> products;
  for (int number = 0; number < kProducts; ++number) {
    products.emplace_back([number, end] {
      PersistentStorage storage;
      for (int done = 0; done < kRounds && std::chrono::steady_clock::now() < end;) {
        storage.Open(Access::Update);
        if (!storage.HadOpenError()) {
          ProductView product(&storage, Product("App" + std::to_string(number)), Access::Update);
          EXPECT_EQ(product.GetValue("LastActive").number, done);
          product.SetValue("LastActive", EnvValue::Number(++done));
          storage.CloseAndSave();
        }
      }
    });
  }
  for (std::thread& product : products) {
    product.join();
  }
  ASSERT_TRUE(storage_.Open(Access::Read));
  for (int number = 0; number < kProducts; ++number) {
    const ProductView product(&storage_, Product("App" + std::to_string(number)), Access::Read);
    EXPECT_EQ(product.GetValue("LastActive").number, kRounds);
  }
}

}  // namespace
}  // namespace Tav
