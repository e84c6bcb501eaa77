#include "util/format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/captured_log.h"
#include "util/hash.h"

namespace Tav {
namespace {

TEST(UrlEncodeTest, EscapesAllButUnreservedCharacters) {
  constexpr char kPlain[] = "AZaz09-._~";
  EXPECT_EQ(UrlEncode(kPlain), kPlain);
  EXPECT_EQ(UrlEncode("a b/c?d=e&f+g%"), "a%20b%2fc%3fd%3de%26f%2bg%25");
  EXPECT_EQ(UrlEncode("\xC3\xA9"), "%c3%a9");
  EXPECT_EQ(UrlEncode(std::string_view("\0", 1)), "%00");
  EXPECT_EQ(UrlEncode(""), "");
}

TEST(FormatSizeTest, ChoosesTheUnitAndRounds) {
  const std::pair<double, const char*> cases[] = {
      {0, "0 Bytes"},
      {2047, "2047 Bytes"},
      {2047.9, "2047 Bytes"},
      {2048, "2 KB"},
      {2559, "2 KB"},
      {2560, "3 KB"},
      {2097151, "2048 KB"},
      {2097152, "2 MB"},
      {2147483647, "2048 MB"},
      {2147483648, "2 GB"},
      {2199023255551, "2048 GB"},
      {2199023255552, "2 TB"},
      {-5, "-5 Bytes"},
      {std::nan(""), "0 Bytes"},
      {INFINITY, "2147483647 TB"},
  };
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(FormatSize(bytes), text);
  }
}

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

TEST(FormatUuidTest, WritesTheFieldsInHostOrder) {
  constexpr Platform::Uuid kUuid = {0xABCDEF, 0x12, 0x4003, {0x80, 0, 1, 2, 3, 4, 5, 0xFE}};
  const UuidText text = FormatUuid(kUuid);
  EXPECT_EQ(text.View(), "00abcdef-0012-4003-8000-0102030405fe");
  EXPECT_EQ(text.text[text.View().size()], '\0');
}

}  // namespace
}  // namespace Tav
