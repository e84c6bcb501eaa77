#include "util/hash.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/captured_log.h"

namespace Tav {
namespace {

TEST(HashTextTest, FillsTheDigestByAlgorithm) {
  Testing::CapturedLog log;
  uint8_t digest[64];
  EXPECT_EQ(HashText(HashAlgorithm::Sha1, "abc", digest, sizeof digest), 20u);
  EXPECT_EQ(digest[0], 0xA9);
  EXPECT_EQ(HashText(HashAlgorithm::Sha256, "abc", digest, 32), 32u);
  EXPECT_EQ(digest[31], 0xAD);
  EXPECT_EQ(log.Take(), std::vector<std::string>(2, "UT: Hashing '[3 bytes]'..."));
  EXPECT_EQ(HashText(HashAlgorithm{2}, "abc", digest, sizeof digest), 0u);
  EXPECT_TRUE(log.Take().empty()) << "an unknown algorithm is not even logged";

  EXPECT_EQ(HashText(HashAlgorithm::Sha256, "abc", digest, 31), 0u);
  EXPECT_EQ(log.Take().back(), "warning: Buffer for hashed value of '[3 bytes]' is too small.");
}

TEST(HashTextToHexTest, FoldsTheDigest) {
  // ba7816bf8f01cfea414140de5dae2223 xor b00361a396177a9cb410ff61f20015ad
  EXPECT_EQ(HashTextToHex("abc"), "0a7b771c1916b576f551bfbfafae378e");
}

}  // namespace
}  // namespace Tav
