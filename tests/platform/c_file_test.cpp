#include "platform/file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/process.h"

namespace Tav::Platform {
namespace {

void Append(const std::string& path, const char* text) {
  std::FILE* const file = OpenFile(path.c_str(), "a");
  ASSERT_NE(file, nullptr);
  std::fputs(text, file);
  std::fclose(file);
}

TEST(CFile, OpensPathsBeyondTheAnsiCodePage) {
  std::filesystem::path path = std::filesystem::temp_directory_path();
  path /= u8"tav c_file \u00e9\u20ac\u65e5 ";
  path += std::to_string(ProcessId());
  std::filesystem::remove(path);
  const std::u8string utf8 = path.u8string();
  const std::string name(utf8.begin(), utf8.end());
  Append(name, "one ");
  Append(name, "two");
  ASSERT_TRUE(std::filesystem::exists(path)) << "written under another name";
  std::FILE* const file = OpenFile(name.c_str(), "r");
  ASSERT_NE(file, nullptr);
  char text[20] = "";
  EXPECT_NE(std::fgets(text, sizeof text, file), nullptr);
  EXPECT_STREQ(text, "one two");
  std::fclose(file);
  std::filesystem::remove(path);
}

TEST(CFile, SaysWhyItDidNotOpen) {
  errno = 0;
  EXPECT_EQ(OpenFile("no such folder/file.txt", "a"), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace Tav::Platform
