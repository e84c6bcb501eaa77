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
  folder_.Put("Quendel", "a file");
  const std::string root = Utf8(folder_.Root());
  const std::string wanted = Utf8((folder_.Root() / "Quendel").make_preferred());
  const std::pair<std::string, std::string> cases[] = {
      {"", "error: SF: PS env var LOCALAPPDATA missing"},
      {root + "/nowhere", "error: SF: PS directory does not exist"},
      {root, "error: SF: Cannot create directory '" + wanted + "'"},
  };
  for (const auto& [value, message] : cases) {
    Testing::SetEnvironment("LOCALAPPDATA", value.c_str());
    ForgetStorageDirectory();
    log_.Take();
    EXPECT_EQ(GetStorageDirectory(), "");
    EXPECT_EQ(JoinStoragePath("TavData"), "");
    EXPECT_NE(log_.Find(message), "") << message;
  }
}

TEST_F(StorageDirectoryTest, AlternateInTheAnsiCodePageBecomesUtf8) {
  SetAlternateStorageDirectory("c:/caf\xE9");
  EXPECT_NE(log_.Find("Alternate PS dir set to c:/caf"), "");
  const std::string directory = GetStorageDirectory();
  EXPECT_TRUE(directory.starts_with("c:")) << directory;
  // There are no code pages natively: the bytes stay.
  EXPECT_EQ(IsUtf8(directory), Platform::kPathSeparator == '\\') << directory;
}

}  // namespace
}  // namespace Tav
