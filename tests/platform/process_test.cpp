#include "platform/process.h"

#include <gtest/gtest.h>

#include "platform/error.h"
#include "platform/memory.h"
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
  // Around the first buffer's size, where the system's two ways to count the end could show.
  for (const size_t length : {1u, 126u, 127u, 128u, 129u, 130u, 256u, 5000u}) {
    std::string value(length, 'x');
    value += "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";  // of one and two UTF-16 units
    Testing::SetEnvironment(kName, value.c_str());
    EXPECT_EQ(Environment(kName), value);
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
