#include "platform/process.h"

#include <gtest/gtest.h>

#include "platform/error.h"
#include "platform/set_environment.h"

namespace Tav::Platform {
namespace {

constexpr char kName[] = "TAV_TEST_VARIABLE";

class EnvironmentTest : public testing::Test {
 protected:
  ~EnvironmentTest() override { Testing::SetEnvironment(kName, nullptr); }
};

TEST_F(EnvironmentTest, TellsUnsetFromEmpty) {
  Testing::SetEnvironment(kName, nullptr);
  EXPECT_EQ(Environment(kName), std::nullopt);
  Testing::SetEnvironment(kName, "");
  EXPECT_EQ(Environment(kName), "");
}

TEST_F(EnvironmentTest, ReadsUtf8OfAnyLength) {
  // Every length around the reader's first buffer: the system counts the terminating zero when the
  // buffer is too small and leaves it out otherwise.
  for (size_t length = 0; length < 600; ++length) {
    std::string value(length, 'x');
    value += "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";  // of one and two UTF-16 units
    Testing::SetEnvironment(kName, value.c_str());
    ASSERT_EQ(Environment(kName), value) << length;
  }
}

TEST_F(EnvironmentTest, KeepsTheLastError) {
  Testing::SetEnvironment(kName, nullptr);
  SetLastError(5);
  Environment(kName);
  EXPECT_EQ(LastError(), 5u);
}

TEST(Pages, AreAlignedAndEmpty) {
  constexpr size_t kSize = 100000;
  auto* const pages = static_cast<unsigned char*>(AllocatePages(kSize));
  ASSERT_NE(pages, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(pages) % 4096, 0u);
  for (size_t i = 0; i < kSize; ++i) {
    ASSERT_EQ(pages[i], 0) << i;
    pages[i] = 0xFF;
  }
  FreePages(pages, kSize);
  FreePages(nullptr, kSize);
  EXPECT_EQ(AllocatePages(size_t{1} << 62), nullptr);
}

}  // namespace
}  // namespace Tav::Platform
