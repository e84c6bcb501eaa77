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

}  // namespace
}  // namespace Tav::Platform
