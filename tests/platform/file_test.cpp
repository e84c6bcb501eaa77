#include "platform/file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "support/temp_folder.h"

namespace Tav::Platform {
namespace {

void Append(const std::string& path, const char* text) {
  std::FILE* const file = OpenFile(path.c_str(), "a");
  ASSERT_NE(file, nullptr);
  std::fputs(text, file);
  std::fclose(file);
}

TEST(OpenFileTest, OpensPathsBeyondTheAnsiCodePage) {
  const Testing::TempFolder folder;
  const std::string path = Testing::Utf8(folder.Root() / u8"\u00e9\u20ac\u65e5");
  Append(path, "one ");
  Append(path, "two");
  ASSERT_TRUE(std::filesystem::exists(folder.Root() / u8"\u00e9\u20ac\u65e5"))
      << "written under another name";
  std::FILE* const file = OpenFile(path.c_str(), "r");
  ASSERT_NE(file, nullptr);
  char text[20] = "";
  EXPECT_NE(std::fgets(text, sizeof text, file), nullptr);
  EXPECT_STREQ(text, "one two");
  std::fclose(file);
}

TEST(OpenFileTest, SetsErrnoOnFailure) {
  errno = 0;
  EXPECT_EQ(OpenFile("no such folder/file.txt", "a"), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

TEST(FileTest, KeepsTheTimeThatWasSet) {
  const Testing::TempFolder folder;
  const std::string path = Testing::Utf8(folder.Root() / "dated");
  File file;
  ASSERT_EQ(file.Open(path.c_str(), FileUse::Append), OpenResult::Opened);
  EXPECT_EQ(file.Write("one", 3), 3);
  EXPECT_TRUE(file.SetModified(1'000'000'000));
  EXPECT_TRUE(file.Close());
  FileStatus status;
  EXPECT_TRUE(QueryFileStatus(path.c_str(), status));
  EXPECT_EQ(status.modifiedAt, 1'000'000'000);
  char text[4] = "";
  ASSERT_EQ(file.Open(path.c_str(), FileUse::Exclusive), OpenResult::Opened);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(file.Read(text, 3), 3);
    EXPECT_STREQ(text, "one");
    EXPECT_TRUE(file.Rewind());
  }
  EXPECT_TRUE(file.Close());
  EXPECT_TRUE(QueryFileStatus(path.c_str(), status));
  EXPECT_EQ(status.modifiedAt, 1'000'000'000) << "reading does not change it";
  EXPECT_FALSE(file.SetModified(0) || file.Rewind()) << "not open";
}

TEST(FileTest, RenamesOnlyToAFreeName) {
  const Testing::TempFolder folder;
  const std::string from = Testing::Utf8(folder.Root() / u8"from \u65e5");
  const std::string to = Testing::Utf8(folder.Root() / u8"to \u65e5");
  EXPECT_FALSE(RenameFile(from.c_str(), to.c_str()));
  EXPECT_EQ(errno, ENOENT);
  Append(from, "new");
  Append(to, "old");
  EXPECT_FALSE(RenameFile(from.c_str(), to.c_str()));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_TRUE(RemoveFile(to.c_str()));
  EXPECT_TRUE(RenameFile(from.c_str(), to.c_str()));
  EXPECT_FALSE(FileExists(from.c_str()));
  EXPECT_TRUE(FileExists(to.c_str()));
}

}  // namespace
}  // namespace Tav::Platform
