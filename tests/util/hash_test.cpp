#include "util/hash.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "util/logger.h"

namespace Tav {
namespace {

std::vector<std::string> messages;

class HashTextTest : public testing::Test {
 protected:
  HashTextTest() {
    messages.clear();
    ConfigureLogger([](const char* line) { messages.emplace_back(line); }, nullptr, true);
  }
  ~HashTextTest() override { ConfigureLogger(nullptr, nullptr, false); }
};

TEST_F(HashTextTest, FillsTheDigestByAlgorithm) {
  uint8_t digest[64];
  EXPECT_EQ(HashText(0, "abc", digest, sizeof digest), 20u);
  EXPECT_EQ(digest[0], 0xA9);
  EXPECT_EQ(HashText(1, "abc", digest, 32), 32u);
  EXPECT_EQ(digest[31], 0xAD);
  EXPECT_EQ(messages, std::vector<std::string>(2, "UT: Hashing 'abc'..."));
}

TEST_F(HashTextTest, KnowsNoOtherAlgorithm) {
  uint8_t digest[64];
  EXPECT_EQ(HashText(2, "abc", digest, sizeof digest), 0u);
  EXPECT_EQ(HashText(-1, "abc", digest, sizeof digest), 0u);
  EXPECT_TRUE(messages.empty());
}

TEST_F(HashTextTest, ReportsADigestThatIsTooSmall) {
  uint8_t digest[64];
  EXPECT_EQ(HashText(1, "abc", digest, 31), 0u);
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_EQ(messages[1], "warning: Buffer for hashed value of 'abc' is too small.");
}

TEST_F(HashTextTest, FoldsTheDigestForItsText) {
  // ba7816bf8f01cfea414140de5dae2223 xor b00361a396177a9cb410ff61f20015ad
  EXPECT_EQ(HashTextToHex("abc"), "0a7b771c1916b576f551bfbfafae378e");
}

}  // namespace
}  // namespace Tav
