#include "util/storage_directory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/file.h"
#include "platform/process.h"
#include "platform/set_environment.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"
#include "util/text.h"

namespace Tav {
namespace {

namespace fs = std::filesystem;
using Testing::Utf8;

class StorageDirectoryTest : public testing::Test {
 protected:
  StorageDirectoryTest() {
    Testing::SetEnvironment("LOCALAPPDATA", Utf8(folder_.Root()).c_str());
    ForgetStorageDirectory();
  }
  ~StorageDirectoryTest() override {
    ForgetStorageDirectory();
    Testing::SetEnvironment("LOCALAPPDATA", before_.c_str());
  }

  const std::string before_ = Platform::Environment("LOCALAPPDATA").value_or("");
  const Testing::TempFolder folder_;
  Testing::CapturedLog log_;
};

TEST_F(StorageDirectoryTest, IsCreatedInTheUsersFolderOnce) {
  const fs::path expected = (folder_.Root() / "Quendel" / "Tav").make_preferred();
  EXPECT_EQ(GetStorageDirectory(), Utf8(expected));
  EXPECT_TRUE(fs::is_directory(expected));
  EXPECT_EQ(log_.Take(), (std::vector<std::string>{"Created PS sub-dir", "Created PS sub-dir-2"}));
  EXPECT_EQ(JoinStoragePath("TavData"), Utf8(expected / "TavData"));

  // A change of the variable does not move the files of a run.
  Testing::SetEnvironment("LOCALAPPDATA", nullptr);
  EXPECT_EQ(GetStorageDirectory(), Utf8(expected));
  ForgetStorageDirectory();
  EXPECT_EQ(GetStorageDirectory(), "");
}

TEST_F(StorageDirectoryTest, LogsWhyThereIsNone) {
  for (const char* const value : {"", static_cast<const char*>(nullptr)}) {
    Testing::SetEnvironment("LOCALAPPDATA", value);
    ForgetStorageDirectory();
    EXPECT_EQ(GetStorageDirectory(), "");
    EXPECT_EQ(JoinStoragePath("TavData"), "");
    EXPECT_EQ(log_.Take(), std::vector<std::string>{"error: SF: PS env var LOCALAPPDATA missing"});
  }
  Testing::SetEnvironment("LOCALAPPDATA", Utf8(folder_.Root() / "nowhere").c_str());
  ForgetStorageDirectory();
  EXPECT_EQ(GetStorageDirectory(), "");
  EXPECT_FALSE(log_.Find("error: SF: PS directory does not exist").empty());

  Testing::SetEnvironment("LOCALAPPDATA", Utf8(folder_.Root()).c_str());
  folder_.Put("Quendel", "a file");
  ForgetStorageDirectory();
  EXPECT_EQ(GetStorageDirectory(), "");
  const fs::path wanted = (folder_.Root() / "Quendel").make_preferred();
  EXPECT_FALSE(log_.Find("error: SF: Cannot create directory '" + Utf8(wanted) + "'").empty());
}

TEST_F(StorageDirectoryTest, AlternateReplacesTheDefaultUntilItIsRemoved) {
  const std::string usual = GetStorageDirectory();
  SetAlternateStorageDirectory("c:/data/x");
  EXPECT_FALSE(log_.Find("Alternate PS dir set to c:/data/x").empty());
  const std::string separator(1, Platform::kPathSeparator);
  const std::string expected = "c:" + separator + "data" + separator + "x";
  EXPECT_EQ(GetStorageDirectory(), expected);
  EXPECT_EQ(JoinStoragePath("TavData"), expected + separator + "TavData");
  SetAlternateStorageDirectory("c:/data/x/");
  EXPECT_EQ(JoinStoragePath("TavData"), expected + separator + "TavData");

  SetAlternateStorageDirectory("");
  EXPECT_EQ(GetStorageDirectory(), usual);
}

TEST_F(StorageDirectoryTest, AlternateInTheAnsiCodePageBecomesUtf8) {
  SetAlternateStorageDirectory("c:/caf\xE9");
  const std::string directory = GetStorageDirectory();
  EXPECT_TRUE(directory.starts_with("c:")) << directory;
  // There are no code pages natively: the bytes stay.
  EXPECT_EQ(IsUtf8(directory), Platform::kPathSeparator == '\\') << directory;
}

}  // namespace
}  // namespace Tav
