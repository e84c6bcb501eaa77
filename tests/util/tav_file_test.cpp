#include "util/tav_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "streams/file_stream.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"

namespace Tav {
namespace {

class TavFileTest : public testing::Test {
 protected:
  std::string Path(const char* name) const { return folder_.Path(name); }

  bool Logged(const std::string& beginning) const { return !log_.Find(beginning).empty(); }

  // Each way to open it fails; deleting it removes this name only.
  void ExpectNotOpened(const char* name) {
    const std::string path = Path(name);
    for (int way = 0; way < 3; ++way) {
      log_.Take();
      TavFile file;
      EXPECT_FALSE(way == 0   ? file.OpenAtomic(path.c_str())
                   : way == 1 ? file.OpenForAppend(path.c_str())
                              : file.OpenForUpdate(path.c_str(), 100));
      EXPECT_FALSE(file.IsOpen() || file.Missing());
      EXPECT_TRUE(file.LastingFailure());
      EXPECT_TRUE(
          Logged("warning: SF: File '" + path + "' is a link or has several names. Not opened"));
    }
    EXPECT_TRUE(TavFile::Exists(path.c_str()));
    EXPECT_TRUE(TavFile::Delete(path.c_str()));
    EXPECT_FALSE(TavFile::Exists(path.c_str()));
  }

  const Testing::TempFolder folder_;
  Testing::CapturedLog log_;
};

std::string ReadWhole(TavFile& file) {
  TavFileInputStream stream(&file);
  char buffer[64];
  return std::string(buffer, stream.Read(buffer, sizeof buffer));
}

TEST_F(TavFileTest, LockExcludesASecondOpen) {
  const std::string path = Path("data");
  TavFile first;
  TavFile second;
  ASSERT_TRUE(first.OpenForUpdate(path.c_str()));
  EXPECT_FALSE(second.OpenForAppend(path.c_str()));
  EXPECT_TRUE(Logged("warning: Lock of file failed - (")) << "with errno's text";
  EXPECT_FALSE(second.IsOpen());
  EXPECT_FALSE(second.LastingFailure());
  EXPECT_TRUE(second.InUse());
  EXPECT_TRUE(second.Failed());
  first.Close();
  EXPECT_TRUE(second.OpenForUpdate(path.c_str()));
  EXPECT_FALSE(second.Failed() || second.InUse()) << "cleared by the new open";
}

TEST_F(TavFileTest, AtomicOpenExcludesOthersUntilTheFileIsClosedOrDiscarded) {
  folder_.Put("cache", "contents");
  const std::string path = Path("cache");
  TavFile holder;
  TavFile other;
  ASSERT_TRUE(holder.OpenAtomic(path.c_str())) << holder.ErrorText();
  EXPECT_FALSE(other.OpenAtomic(path.c_str()));
  EXPECT_TRUE(Logged("warning: Atomic open failed due to file locked"));
  EXPECT_FALSE(other.LastingFailure());
  EXPECT_FALSE(other.OpenForAppend(path.c_str()));
  EXPECT_TRUE(other.LastingFailure()) << "only a missing file is no lasting failure";
  EXPECT_TRUE(TavFile::Exists(path.c_str()));
  EXPECT_EQ(ReadWhole(holder), "contents");
  EXPECT_TRUE(holder.Close());
  EXPECT_EQ(folder_.Contents("cache"), "contents");

  ASSERT_TRUE(holder.OpenAtomic(path.c_str()));
  EXPECT_TRUE(holder.Discard());
  EXPECT_TRUE(holder.Close());
  EXPECT_FALSE(TavFile::Exists(path.c_str()));
  EXPECT_FALSE(holder.Discard()) << "no file is open";

  ASSERT_TRUE(other.OpenForAppend(path.c_str()));
  EXPECT_FALSE(holder.OpenAtomic(path.c_str())) << "the file is open";
  EXPECT_FALSE(holder.LastingFailure());
  other.Close();
  EXPECT_TRUE(TavFile::Exists(path.c_str()));
}

TEST_F(TavFileTest, MissingFileDiffersFromALastingFailure) {
  TavFile file;
  EXPECT_FALSE(file.OpenForUpdate(Path("no such folder/data").c_str()));
  EXPECT_FALSE(file.LastingFailure());
  EXPECT_TRUE(file.Missing());
  EXPECT_STREQ(file.ErrorText(), "Open failed: No such file or directory");
  EXPECT_TRUE(Logged("Cannot open file " + Path("no such folder/data") + " - (2) "));

  EXPECT_FALSE(file.OpenAtomic(Path("no such file").c_str()));
  EXPECT_TRUE(file.LastingFailure());
  EXPECT_TRUE(file.Missing());
  EXPECT_STREQ(file.ErrorText(), "Atomic open failed: No such file or directory");
  EXPECT_TRUE(Logged("warning: Open of file failed - (2) "));

  EXPECT_FALSE(file.OpenForAppend(Path("").c_str())) << "a folder";
  EXPECT_TRUE(file.LastingFailure());
  EXPECT_FALSE(file.Missing());
}

TEST_F(TavFileTest, AFileWithSeveralNamesIsNotOpened) {
  folder_.Put("victim", "precious");
  std::filesystem::create_hard_link(folder_.Root() / "victim", folder_.Root() / "data");
  ExpectNotOpened("data");
  EXPECT_EQ(folder_.Contents("victim"), "precious");
  TavFile file;
  EXPECT_TRUE(file.OpenForUpdate(Path("victim").c_str())) << "it has one name again";
}

TEST_F(TavFileTest, ALinkIsNotFollowed) {
  namespace fs = std::filesystem;
  folder_.Put("victim", "precious");
  for (const char* target : {"victim", "created"}) {
    std::error_code error;
    fs::create_symlink(target, folder_.Root() / "data", error);
    if (error && fs::path::preferred_separator != '/') {
      GTEST_SKIP() << "not every run-time and user can create links: " << error.message();
    }
    ASSERT_FALSE(error);
    ExpectNotOpened("data");
  }
  EXPECT_EQ(folder_.Contents("victim"), "precious");
  EXPECT_FALSE(fs::exists(folder_.Root() / "created")) << "through the dangling link";
  fs::create_directory_symlink(folder_.Root(), folder_.Root() / "folder");
  TavFile file;
  EXPECT_TRUE(file.OpenForUpdate(Path("folder/victim").c_str())) << "folders may be links";
}

TEST_F(TavFileTest, KeepsTheFirstFailureOfItsStreams) {
  const std::string path = Path("data");
  TavFile file;
  ASSERT_TRUE(file.OpenForAppend(path.c_str()));
  TavFileInputStream input(&file);
  TavFileOutputStream output(&file);
  EXPECT_EQ(input.ReadByte(), -1) << "open for writing only";
  const std::string first = input.ErrorText();
  EXPECT_TRUE(first.starts_with("Read error: ")) << first;
  EXPECT_TRUE(Logged("warning: Read from file failed - ("));
  output.Write("x", 1);
  EXPECT_TRUE(output.HasError());
  EXPECT_EQ(output.ErrorText(), first);
  file.Close();
  EXPECT_EQ(folder_.Contents("data"), "");

  TavFile closed;
  EXPECT_FALSE(closed.Write("x", 1));
  EXPECT_TRUE(std::string(closed.ErrorText()).starts_with("Write error: "));
  EXPECT_TRUE(Logged("warning: Write to file failed - ("));

  // Always full, on systems that have it.
  TavFile full;
  if (full.OpenForAppend("/dev/full")) {
    EXPECT_FALSE(full.Write("x", 1));
    EXPECT_STREQ(full.ErrorText(), "Write error: No space left on device");
  }
}

TEST_F(TavFileTest, DeletesFilesThatAreNotInUse) {
  EXPECT_TRUE(TavFile::Delete(Path("no such file").c_str()));
  folder_.Put("data", "x");
  const std::string path = Path("data");
  TavFile file;
  ASSERT_TRUE(file.OpenForAppend(path.c_str()));
  EXPECT_FALSE(TavFile::Delete(path.c_str()));
  EXPECT_TRUE(Logged("warning: Error deleting file " + path + " - (13) "));
  file.Close();

  using std::filesystem::perms;
  std::filesystem::permissions(folder_.Root() / "data", perms::owner_read | perms::group_read);
  EXPECT_FALSE(TavFile::Delete(path.c_str())) << "read-only";
  std::filesystem::permissions(folder_.Root() / "data", perms::owner_read | perms::owner_write);
  EXPECT_TRUE(TavFile::Delete(path.c_str()));
  EXPECT_FALSE(TavFile::Exists(path.c_str()));
}

TEST_F(TavFileTest, ListsFilesWithoutFolders) {
  folder_.Put("one", "");
  std::filesystem::create_directory(folder_.Root() / "folder");
  const std::vector<std::string> expected = {"one", "two_\xD0\x96"};
  std::ofstream(folder_.Root() / u8"two_\u0416") << "x";
  std::vector<std::string> names = TavFile::ReadDirectory(Path("").c_str());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, expected);
  EXPECT_TRUE(TavFile::ReadDirectory(Path("no such folder").c_str()).empty());
}

}  // namespace
}  // namespace Tav
