#include "util/storage_directory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/file.h"
#include "platform/process.h"
#include "platform/set_environment.h"
#include "support/captured_log.h"
#include "util/text.h"

namespace Tav {
namespace {

namespace fs = std::filesystem;

std::string Utf8(const fs::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

// The user's folder, under a name that no ANSI code page can hold.
class StorageDirectoryTest : public testing::Test {
 protected:
  StorageDirectoryTest() {
    folder_ += std::to_string(Platform::ProcessId());
    fs::remove_all(folder_);
    fs::create_directories(folder_);
    Testing::SetEnvironment("LOCALAPPDATA", Utf8(folder_).c_str());
    ForgetStorageDirectory();
  }
  ~StorageDirectoryTest() override {
    ForgetStorageDirectory();
    Testing::SetEnvironment("LOCALAPPDATA", before_.c_str());
    fs::remove_all(folder_);
  }

  const std::string before_ = Platform::Environment("LOCALAPPDATA").value_or("");
  fs::path folder_ = fs::temp_directory_path() / u8"tav_storage_J\u00F6_\u6570\u0416";
  Testing::CapturedLog log_;
};

TEST_F(StorageDirectoryTest, IsMadeInTheUsersFolderOnce) {
  const fs::path expected = (folder_ / "Quendel" / "Tav").make_preferred();
  EXPECT_EQ(GetStorageDirectory(), Utf8(expected));
  EXPECT_TRUE(fs::is_directory(expected));
  EXPECT_EQ(log_.Take(), (std::vector<std::string>{"Created PS sub-dir", "Created PS sub-dir-2"}));
  EXPECT_EQ(JoinStoragePath("TavData"), Utf8(expected / "TavData"));

  // A variable that changes does not move a run's files; a new start looks again.
  Testing::SetEnvironment("LOCALAPPDATA", nullptr);
  EXPECT_EQ(GetStorageDirectory(), Utf8(expected));
  ForgetStorageDirectory();
  EXPECT_EQ(GetStorageDirectory(), "");
}

TEST_F(StorageDirectoryTest, SaysWhyThereIsNone) {
  for (const char* const value : {"", static_cast<const char*>(nullptr)}) {
    Testing::SetEnvironment("LOCALAPPDATA", value);
    ForgetStorageDirectory();
    EXPECT_EQ(GetStorageDirectory(), "");
    EXPECT_EQ(JoinStoragePath("TavData"), "");
    EXPECT_EQ(log_.Take(), std::vector<std::string>{"error: SF: PS env var LOCALAPPDATA missing"});
  }
  Testing::SetEnvironment("LOCALAPPDATA", Utf8(folder_ / "nowhere").c_str());
  ForgetStorageDirectory();
  EXPECT_EQ(GetStorageDirectory(), "");
  EXPECT_FALSE(log_.Find("error: SF: PS directory does not exist").empty());

  Testing::SetEnvironment("LOCALAPPDATA", Utf8(folder_).c_str());
  std::ofstream(folder_ / "Quendel") << "a file";
  ForgetStorageDirectory();
  EXPECT_EQ(GetStorageDirectory(), "");
  const fs::path wanted = (folder_ / "Quendel").make_preferred();
  EXPECT_FALSE(log_.Find("error: SF: Cannot create directory '" + Utf8(wanted) + "'").empty());
}

TEST_F(StorageDirectoryTest, AnAlternateTakesItsPlaceUntilItIsTakenBack) {
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

TEST_F(StorageDirectoryTest, AnAlternateInTheAnsiCodePageIsUtf8Inside) {
  SetAlternateStorageDirectory("c:/caf\xE9");
  const std::string directory = GetStorageDirectory();
  EXPECT_TRUE(directory.starts_with("c:")) << directory;
  // The native side has no code page and keeps the bytes.
  EXPECT_EQ(IsUtf8(directory), Platform::kPathSeparator == '\\') << directory;
}

}  // namespace
}  // namespace Tav
