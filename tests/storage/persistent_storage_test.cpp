#include "storage/persistent_storage.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "storage/storage_views.h"
#include "support/storage_folder.h"

namespace Tav {
namespace {

namespace fs = std::filesystem;

using ClientView = PersistentStorage::ClientView;
using InhibitEventView = PersistentStorage::InhibitEventView;
using ProductEnvView = PersistentStorage::ProductEnvView;
using ProductView = PersistentStorage::ProductView;

constexpr char kPlatform[] = "wntx64";

class PersistentStorageTest : public testing::Test {
 protected:
  Testing::StorageFolder folder_;
  Testing::CapturedLog log_;
  PersistentStorage storage_;
};

TEST_F(PersistentStorageTest, KeepsWhatEveryViewSaysInTheDocumentedLayout) {
  // To look for what is not there makes no file; neither that nor a new file is a fault.
  ASSERT_TRUE(storage_.Open(false));
  EXPECT_FALSE(std::filesystem::exists(folder_.Path("TavData")));
  ASSERT_TRUE(storage_.Open(true));
  EXPECT_FALSE(storage_.HadParseError() || storage_.HadOpenError());
  EXPECT_EQ(log_.Find("warning: "), "");
  ClientView(&storage_).SetValue("OsName", "W\u00EFndows");
  {
    ProductView product(&storage_, "App", "1.0", kPlatform);
    EXPECT_TRUE(product.Added());
    EXPECT_TRUE(product.SetValue("Server", "https://x/"));
    EXPECT_TRUE(product.SetValue("LastActive", EnvValue::Number(20000)));
    ProductEnvView values(&storage_, "App", "1.0", kPlatform, false);
    EXPECT_TRUE(values.SetValue("std-OptOut", EnvValue::String("false")));
    ProductEnvView settings(&storage_, "App", "1.0", kPlatform, true);
    EXPECT_TRUE(settings.SetValue("pause_time", EnvValue::Number(1)));
    InhibitEventView inhibit(&storage_, "App", "1.0", kPlatform);
    inhibit.Append("Secret");
  }
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

  ASSERT_TRUE(storage_.Open(false));
  EXPECT_FALSE(storage_.HadParseError() || storage_.HadOpenError());
  EXPECT_TRUE(ClientView(&storage_).GetValue("OsName", "W\u00EFndows"));
  const ProductView product(&storage_, "App", "1.0", kPlatform);
  EXPECT_FALSE(product.Added());
  EXPECT_EQ(product.GetValue("LastActive").number, 20000.0);
  ProductEnvView values(&storage_, "App", "1.0", kPlatform, false);
  EXPECT_EQ(values.GetKeys(), std::vector<std::string>{"std-OptOut"});
  const InhibitEventView inhibit(&storage_, "App", "1.0", kPlatform);
  ASSERT_EQ(inhibit.Size(), 1U);
  EXPECT_EQ(inhibit.Get(0), "Secret");
  EXPECT_EQ(inhibit.Get(1), "");
}

TEST_F(PersistentStorageTest, ViewsCheckWhatTheyTakeAndFind) {
  folder_.Put("TavData", R"({"Products": [], "flag": true, "three": 3, "real": 3.0, "text": "a"})");
  ASSERT_TRUE(storage_.Open(true));
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

TEST_F(PersistentStorageTest, ViewsOfAClosedStorageFailSoftly) {
  ClientView client(&storage_);
  ProductView product(&storage_, "App", "1.0", kPlatform);
  EXPECT_EQ(log_.Take().back(), "error: PS: creating Prod view (App,1.0,wntx64): PS is not open.");
  ProductEnvView values(&storage_, "App", "1.0", kPlatform, false);
  InhibitEventView inhibit(&storage_, "App", "1.0", kPlatform);
  for (PersistentStorage::View* view :
       std::initializer_list<PersistentStorage::View*>{&client, &product, &values, &inhibit}) {
    EXPECT_EQ(view->GetValue("k").type, EnvType::None);
    EXPECT_FALSE(view->SetValue("k", "v"));
    EXPECT_FALSE(view->SetValue("k", EnvValue::Number(1)));
    EXPECT_FALSE(view->RemoveValue("k"));
    EXPECT_FALSE(view->VerifyValue("k", EnvValue::Number(1)));
    EXPECT_FALSE(view->GetValue("k", "v"));
  }
  values.Clear();
  inhibit.Append("x");
  EXPECT_EQ(values.Size() + inhibit.Size(), 0U);
  EXPECT_FALSE(storage_.RemoveProduct("App", "1.0", kPlatform));
  EXPECT_TRUE(storage_.GetProducts().empty());
}

TEST_F(PersistentStorageTest, WritesOnlyWhatWasOpenedForUpdateAndSaved) {
  ASSERT_TRUE(storage_.Open(true));
  const ProductView added(&storage_, "App", "1.0", kPlatform);
  storage_.CloseAndSave();
  const std::string before = folder_.Contents("TavData");

  ASSERT_TRUE(storage_.Open(false));
  const ProductView other(&storage_, "App", "2.0", kPlatform);
  ASSERT_EQ(storage_.GetProducts().size(), 2U);
  EXPECT_EQ(storage_.GetProducts()[1].version, "2.0");
  storage_.CloseAndSave();
  ASSERT_TRUE(storage_.Open(true));
  EXPECT_TRUE(storage_.RemoveProduct("App", "1.0", kPlatform));
  EXPECT_FALSE(storage_.RemoveProduct("App", "1.0", kPlatform));
  storage_.Close(false);
  EXPECT_EQ(folder_.Contents("TavData"), before);

  // A second open drops the first document.
  ASSERT_TRUE(storage_.Open(true));
  storage_.RemoveProduct("App", "1.0", kPlatform);
  ASSERT_TRUE(storage_.OpenTimestamps(true));
  ClientView(&storage_).SetValue("LastClientQuery", EnvValue::Number(20001));
  storage_.CloseAndSave();
  EXPECT_EQ(folder_.Contents("TavData"), before);
  EXPECT_TRUE(folder_.Contents("TsTavData").ends_with("\"LastClientQuery\": 20001.0\n}"));
}

TEST_F(PersistentStorageTest, OpensElsewhereOrNotAtAll) {
  const fs::path other = folder_.Base() / u8"\u0416";
  fs::create_directory(other);
  PersistentStorage::SetAlternatePS(Testing::StorageFolder::Utf8(other) + "/Mine");
  ASSERT_TRUE(storage_.Open(true));
  storage_.CloseAndSave();
  ASSERT_TRUE(storage_.OpenTimestamps(true));
  storage_.CloseAndSave();
  EXPECT_TRUE(fs::exists(other / "Mine") && fs::exists(other / "TsMine"));

  PersistentStorage::SetAlternatePSDirectory(Testing::StorageFolder::Utf8(folder_.Base()));
  ASSERT_TRUE(storage_.Open(true));
  storage_.CloseAndSave();
  EXPECT_TRUE(fs::exists(folder_.Base() / "Mine"));
  EXPECT_TRUE(storage_.Destroy());
  EXPECT_FALSE(fs::exists(folder_.Base() / "Mine"));

  PersistentStorage::SetAlternatePSDirectory("");
  Testing::SetEnvironment("LOCALAPPDATA", nullptr);
  ForgetStorageDirectory();
  EXPECT_FALSE(storage_.Open(true));
  EXPECT_EQ(log_.Take().back(), "error: PS: Open (update: 1): Could not form PS spec.");
  EXPECT_FALSE(storage_.Destroy());
}

TEST_F(PersistentStorageTest, DestroyStopsAtAFileThatStays) {
  folder_.Put("TsTavData", "{}");
  EXPECT_TRUE(storage_.Destroy());
  EXPECT_FALSE(fs::exists(folder_.Path("TsTavData")));

  folder_.Put("TsTavData", "{}");
  fs::create_directories(folder_.Path("TavData") / "inside");
  EXPECT_FALSE(storage_.Destroy());
  EXPECT_TRUE(fs::exists(folder_.Path("TsTavData")));
  EXPECT_FALSE(log_.Find("PS: Could not remove PS file '").empty());
}

// Each storage has a handle and a lock of its own, as those of several processes have.
TEST_F(PersistentStorageTest, ALockedFileIsEmptyToOthersAndStaysAsItIs) {
  PersistentStorage holder;
  ASSERT_TRUE(holder.Open(true));
  const ProductView held(&holder, "App", "1.0", kPlatform);
  for (const bool update : {false, true}) {
    ASSERT_TRUE(storage_.Open(update));
    EXPECT_TRUE(storage_.HadOpenError());
    EXPECT_FALSE(storage_.HadParseError());
    const ProductView added(&storage_, "Other", "1.0", kPlatform);
    storage_.CloseAndSave();
    EXPECT_FALSE(storage_.HadOpenError());
  }
  holder.CloseAndSave();
  EXPECT_EQ(log_.Find("error:"), "");
  ASSERT_TRUE(storage_.Open(false));
  ASSERT_EQ(storage_.GetProducts().size(), 1U);
  EXPECT_EQ(storage_.GetProducts()[0].name, "App");
}

TEST_F(PersistentStorageTest, ProductsThatShareTheFileLoseNothingToEachOther) {
  constexpr int kProducts = 4;
  constexpr int kRounds = 25;
  std::vector<std::thread> products;
  products.reserve(kProducts);
  for (int number = 0; number < kProducts; ++number) {
    products.emplace_back([number] {
      const std::string name = "App" + std::to_string(number);
      const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
      PersistentStorage storage;
      for (int round = 1; round <= kRounds && std::chrono::steady_clock::now() < end;) {
        storage.Open(true);
        if (storage.HadOpenError()) {
          std::this_thread::yield();
          continue;
        }
        ProductView product(&storage, name, "1.0", kPlatform);
        EXPECT_EQ(product.GetValue("LastActive").number, round - 1);
        product.SetValue("LastActive", EnvValue::Number(round++));
        storage.CloseAndSave();
      }
    });
  }
  for (std::thread& product : products) {
    product.join();
  }
  ASSERT_TRUE(storage_.Open(false));
  EXPECT_EQ(storage_.GetProducts().size(), size_t{kProducts});
  for (int number = 0; number < kProducts; ++number) {
    const ProductView product(&storage_, "App" + std::to_string(number), "1.0", kPlatform);
    EXPECT_EQ(product.GetValue("LastActive").number, kRounds);
  }
}

}  // namespace
}  // namespace Tav
