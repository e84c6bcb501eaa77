#include "platform/process.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>

#include "platform/error.h"
#include "platform/set_environment.h"

namespace Tav::Platform {
namespace {

constexpr char kName[] = "TAV_TEST_VARIABLE";

class EnvironmentTest : public testing::Test {
 protected:
  ~EnvironmentTest() override { Testing::SetEnvironment(kName, nullptr); }
};

TEST_F(EnvironmentTest, TellsUnsetFromEmptyAndKeepsTheLastError) {
  Testing::SetEnvironment(kName, nullptr);
  SetLastError(5);
  EXPECT_EQ(Environment(kName), std::nullopt);
  EXPECT_EQ(LastError(), 5u);
  Testing::SetEnvironment(kName, "");
  EXPECT_EQ(Environment(kName), "");
}

TEST_F(EnvironmentTest, ReadsUtf8OfAnyLength) {
  // All lengths around the size of the first buffer: Windows counts the terminating zero only if
  // the buffer is too small.
  for (size_t length = 0; length < 600; ++length) {
    std::string value(length, 'x');
    value += "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";  // one and two UTF-16 units
    Testing::SetEnvironment(kName, value.c_str());
    ASSERT_EQ(Environment(kName), value) << length;
  }
}

TEST(AllocatePagesTest, ReturnsAlignedZeroedMemory) {
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

TEST(CurrentThreadIdTest, DiffersBetweenThreads) {
  long elsewhere = CurrentThreadId();
  std::thread([&] { elsewhere = CurrentThreadId(); }).join();
  EXPECT_NE(elsewhere, CurrentThreadId());
}

}  // namespace
}  // namespace Tav::Platform
