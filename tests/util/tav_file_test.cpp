#include "util/tav_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/process.h"
#include "streams/tav_file_stream.h"
#include "util/logger.h"

namespace Tav {
namespace {

std::vector<std::string> messages;

std::u8string Digits(int number) {
  const std::string digits = std::to_string(number);
  return std::u8string(digits.begin(), digits.end());
}

// Cases run in processes of their own, several at once, each in a folder of its own
// whose name the ANSI code page of no system can hold.
class TavFileTest : public testing::Test {
 protected:
  TavFileTest() {
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    messages.clear();
    ConfigureLogger([](const char* line) { messages.emplace_back(line); }, nullptr, true);
  }
  ~TavFileTest() override {
    ConfigureLogger(nullptr, nullptr, false);
    std::filesystem::remove_all(folder_);
  }

  std::string Path(const char* name) const {
    const std::u8string path = (folder_ / name).u8string();
    return std::string(path.begin(), path.end());
  }

  void Put(const char* name, const std::string& contents) const {
    std::ofstream(folder_ / name, std::ios::binary) << contents;
  }

  std::string Contents(const char* name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() /
      (u8"tav_file_t\u00E9st_\u6570\u0416" + Digits(Platform::ProcessId()));
};

bool Logged(const std::string& beginning) {
  for (const std::string& message : messages) {
    if (message.starts_with(beginning)) {
      return true;
    }
  }
  return false;
}

std::string ReadWhole(TavFile& file) {
  TavFileInputStream stream(&file);
  char buffer[64];
  return std::string(buffer, stream.Read(buffer, sizeof buffer));
}

TEST_F(TavFileTest, AppendsReadsAndTruncates) {
  const std::string path = Path("data");
  for (const char* text : {"one\r\n", "two\n"}) {
    TavFile file;
    ASSERT_TRUE(file.OpenForAppend(path.c_str())) << file.ErrorText();
    EXPECT_TRUE(file.Locked());
    TavFileOutputStream stream(&file);
    stream.Write(text, std::string(text).size());
    EXPECT_FALSE(stream.HasError());
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.Locked());
  }
  EXPECT_EQ(Contents("data"), "one\r\ntwo\n") << "no line end is translated";

  TavFile file;
  ASSERT_TRUE(file.OpenForUpdate(path.c_str()));
  EXPECT_EQ(ReadWhole(file), "one\r\ntwo\n");
  EXPECT_TRUE(file.Write("three", 5));
  EXPECT_TRUE(file.Truncate());
  EXPECT_TRUE(file.Write("new", 3));
  EXPECT_TRUE(file.Close());
  EXPECT_EQ(Contents("data"), "new");
}

TEST_F(TavFileTest, LockOfTheFirstByteKeepsTheSecondOut) {
  const std::string path = Path("data");
  TavFile first;
  TavFile second;
  ASSERT_TRUE(first.OpenForUpdate(path.c_str()));
  EXPECT_FALSE(second.OpenForAppend(path.c_str()));
  EXPECT_TRUE(Logged("warning: Lock of file failed - (")) << "with errno's text";
  EXPECT_FALSE(second.IsOpen());
  EXPECT_FALSE(second.LastingFailure());
  EXPECT_TRUE(second.Failed());
  first.Close();
  EXPECT_TRUE(second.OpenForUpdate(path.c_str()));
  EXPECT_FALSE(second.Failed()) << "a new open forgets";
}

TEST_F(TavFileTest, AtomicOpenKeepsOthersOutAndConsumesTheFile) {
  Put("cache", "contents");
  const std::string path = Path("cache");
  TavFile holder;
  TavFile other;
  ASSERT_TRUE(holder.OpenAtomic(path.c_str())) << holder.ErrorText();
  EXPECT_FALSE(other.OpenAtomic(path.c_str()));
  EXPECT_TRUE(Logged("warning: Atomic open failed due to file locked"));
  EXPECT_FALSE(other.LastingFailure());
  EXPECT_FALSE(other.OpenForAppend(path.c_str()));
  EXPECT_TRUE(other.LastingFailure()) << "a plain open only excuses a missing file";
  EXPECT_TRUE(TavFile::Exists(path.c_str()));
  EXPECT_EQ(ReadWhole(holder), "contents");
  EXPECT_TRUE(holder.Close());
  EXPECT_FALSE(TavFile::Exists(path.c_str()));

  ASSERT_TRUE(other.OpenForAppend(path.c_str()));
  EXPECT_FALSE(holder.OpenAtomic(path.c_str())) << "somebody appends to it";
  EXPECT_FALSE(holder.LastingFailure());
  other.Close();
  EXPECT_TRUE(TavFile::Exists(path.c_str()));
}

TEST_F(TavFileTest, TellsMissingFilesFromLastingFailures) {
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
  EXPECT_EQ(Contents("data"), "");

  TavFile closed;
  EXPECT_FALSE(closed.Write("x", 1));
  EXPECT_TRUE(std::string(closed.ErrorText()).starts_with("Write error: "));
  EXPECT_TRUE(Logged("warning: Write to file failed - ("));
}

TEST_F(TavFileTest, ReportsAFullDisk) {
  TavFile file;
  if (!file.OpenForAppend("/dev/full")) {
    GTEST_SKIP() << "this system has no device that is always full";
  }
  EXPECT_FALSE(file.Write("x", 1));
  EXPECT_STREQ(file.ErrorText(), "Write error: No space left on device");
}

TEST_F(TavFileTest, DeletesWhatNobodyUses) {
  EXPECT_TRUE(TavFile::Delete(Path("no such file").c_str()));
  Put("data", "x");
  const std::string path = Path("data");
  TavFile file;
  ASSERT_TRUE(file.OpenForAppend(path.c_str()));
  EXPECT_FALSE(TavFile::Delete(path.c_str()));
  EXPECT_TRUE(Logged("warning: Error deleting file " + path + " - (13) "));
  file.Close();

  using std::filesystem::perms;
  std::filesystem::permissions(folder_ / "data", perms::owner_read | perms::group_read);
  EXPECT_FALSE(TavFile::Delete(path.c_str())) << "read-only";
  std::filesystem::permissions(folder_ / "data", perms::owner_read | perms::owner_write);
  EXPECT_TRUE(TavFile::Delete(path.c_str()));
  EXPECT_FALSE(TavFile::Exists(path.c_str()));
}

TEST_F(TavFileTest, ListsFilesWithoutFolders) {
  Put("one", "");
  std::filesystem::create_directory(folder_ / "folder");
  const std::vector<std::string> expected = {"one", "two_\xD0\x96"};
  std::ofstream(folder_ / u8"two_\u0416") << "x";
  std::vector<std::string> names = TavFile::ReadDirectory(Path("").c_str());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, expected);
  EXPECT_TRUE(TavFile::ReadDirectory(Path("no such folder").c_str()).empty());
}

}  // namespace
}  // namespace Tav
