// What a process that was killed inside a save may leave, and what the next one makes of it; and
// locks that are held for a moment.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "storage/storage_views.h"
#include "support/storage_folder.h"

namespace Tav {
namespace {

namespace fs = std::filesystem;

using ProductView = PersistentStorage::ProductView;

constexpr char kPlatform[] = "wntx64";
constexpr char kUsesCopy[] = "warning: PS: Open: using the copy that an interrupted save left";
constexpr char kBadCopy[] =
    "warning: PS: Open: the copy that an interrupted save left holds no document";

std::string Document(const std::string& product) {
  return R"({"Products": [{"Name": ")" + product +
         R"(", "Version": "1.0", "Platform": "wntx64"}], "Endpoint": "e"})";
}

class InterruptedSaveTest : public testing::Test {
 protected:
  // The names of the products that an open finds, each with a comma.
  std::string Products(bool update = false, bool timestamps = false) {
    EXPECT_TRUE(timestamps ? storage_.OpenTimestamps(update) : storage_.Open(update));
    std::string names;
    for (const ProductTriple& product : storage_.GetProducts()) {
      names += product.name + ",";
    }
    return names;
  }

  void AddProduct(const char* name) { const ProductView added(&storage_, name, "1.0", kPlatform); }

  bool CopyExists(const char* name = "TavData.new") const { return fs::exists(folder_.Path(name)); }

  Testing::StorageFolder folder_;
  Testing::CapturedLog log_;
  PersistentStorage storage_;
};

TEST_F(InterruptedSaveTest, TheCopyStandsInForAFileThatWasNotWrittenWhole) {
  const std::string copy = Document("App");
  for (const std::string& rest : {std::string(), copy.substr(0, copy.size() / 2)}) {
    for (const bool timestamps : {false, true}) {
      folder_.Put(timestamps ? "TsTavData" : "TavData", rest);
      folder_.Put(timestamps ? "TsTavData.new" : "TavData.new", copy);
      log_.Take();
      EXPECT_EQ(Products(false, timestamps), "App,");
      EXPECT_TRUE(storage_.HadParseError());  // tells of the file, not of the copy
      EXPECT_FALSE(storage_.HadOpenError());
      EXPECT_NE(log_.Find("warning: PS: Open: error parsing JSON data for PS: "), "");
      EXPECT_EQ(log_.Find("warning: PS: Open: using"), kUsesCopy);
      storage_.CloseAndSave();  // opened for reading: nothing is mended yet

      EXPECT_EQ(Products(true, timestamps), "App,");
      AddProduct("New");
      storage_.CloseAndSave();
      EXPECT_FALSE(CopyExists() || CopyExists("TsTavData.new"));
      EXPECT_EQ(Products(false, timestamps), "App,New,");
      EXPECT_FALSE(storage_.HadParseError());
    }
  }
}

TEST_F(InterruptedSaveTest, AGoodFileCountsMoreThanAnyCopy) {
  for (const std::string& copy : {Document("Copy"), std::string("{\"Pro")}) {
    folder_.Put("TavData", Document("App"));
    folder_.Put("TavData.new", copy);
    EXPECT_EQ(Products(true), "App,");
    EXPECT_FALSE(storage_.HadParseError());
    EXPECT_TRUE(CopyExists());
    storage_.CloseAndSave();
    EXPECT_FALSE(CopyExists());
    EXPECT_EQ(Products(), "App,");
    EXPECT_EQ(log_.Find("warning:"), "");
  }
  // JSON of another form is whole, too: no save was interrupted.
  folder_.Put("TavData", "{}");
  folder_.Put("TavData.new", Document("Copy"));
  EXPECT_EQ(Products(), "");
}

TEST_F(InterruptedSaveTest, ACopyWithoutADocumentIsNoneAndIsReplaced) {
  for (const char* const copy : {"", R"({"Products": [)", R"({"Products": {}})", "[]"}) {
    folder_.Put("TavData", "");
    folder_.Put("TavData.new", copy);
    log_.Take();
    EXPECT_EQ(Products(true), "") << copy;
    EXPECT_EQ(log_.Find("warning: PS: Open: the copy"), kBadCopy) << copy;
    AddProduct("App");
    storage_.CloseAndSave();
    EXPECT_FALSE(CopyExists());
    EXPECT_EQ(Products(), "App,");
  }
}

TEST_F(InterruptedSaveTest, WithoutACopyTheFileIsNotTouched) {
  folder_.Put("TavData", Document("App"));
  fs::create_directory(folder_.Path("TavData.new"));
  ASSERT_EQ(Products(true), "App,");
  AddProduct("New");
  log_.Take();
  storage_.CloseAndSave();
  EXPECT_TRUE(log_.Find("error: PS: Open failed: ").size() > 24) << log_.Find("error");
  EXPECT_EQ(folder_.Contents("TavData"), Document("App"));

  folder_.Put("TavData", "");
  EXPECT_EQ(Products(), "");
}

TEST_F(InterruptedSaveTest, DestroyLeavesNothingThatCouldComeBack) {
  for (const char* const name : {"TavData", "TavData.new", "TsTavData.new"}) {
    folder_.Put(name, Document("App"));
  }
  EXPECT_TRUE(storage_.Destroy());
  EXPECT_TRUE(fs::is_empty(folder_.Path("")));

  folder_.Put("TavData", Document("App"));
  fs::create_directories(folder_.Path("TavData.new") / "inside");
  EXPECT_FALSE(storage_.Destroy());
  EXPECT_TRUE(fs::exists(folder_.Path("TavData")));
}

TEST_F(InterruptedSaveTest, ALockHeldForAMomentIsWaitedFor) {
  folder_.Put("TavData", Document("App"));
  // A machine that stops this thread for long enough makes the wait end too early, now and then.
  bool found = false;
  for (int attempt = 0; attempt < 5 && !found; ++attempt) {
    PersistentStorage holder;
    ASSERT_TRUE(holder.Open(true));
    ASSERT_FALSE(holder.HadOpenError());
    log_.Take();
    std::atomic<bool> done = false;
    std::thread other([&] {
      found = Products(true) == "App,";
      done = true;
    });
    while (log_.Find("Waiting for the lock of ").empty() && !done) {
      std::this_thread::yield();
    }
    EXPECT_NE(log_.Find("Waiting for the lock of "), "");
    holder.Close(false);
    other.join();
    EXPECT_EQ(storage_.HadOpenError(), !found);
    storage_.Close(false);
  }
  EXPECT_TRUE(found);
}

TEST_F(InterruptedSaveTest, ALockHeldForLongIsReportedOnce) {
  PersistentStorage holder;
  ASSERT_TRUE(holder.Open(true));
  log_.Take();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Products(true), "");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
  EXPECT_TRUE(storage_.HadOpenError());
  int warnings = 0;
  for (const std::string& line : log_.Take()) {
    warnings += line.starts_with("warning: Lock of file failed") ? 1 : 0;
  }
  EXPECT_EQ(warnings, 1);

  // What lasts is not waited for, nor does it say anything about locks.
  holder.Close(false);
  fs::remove(folder_.Path("TavData"));
  fs::create_directory(folder_.Path("TavData"));
  EXPECT_EQ(Products(true), "");
  EXPECT_EQ(log_.Find("Waiting for the lock of ") + log_.Find("warning:"), "");
}

}  // namespace
}  // namespace Tav
