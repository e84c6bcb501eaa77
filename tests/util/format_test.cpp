#include "util/format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <string_view>
#include <utility>

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

TEST(HexTextTest, WritesTwoDigitsAByte) {
  constexpr uint8_t kBytes[] = {0x00, 0x9F, 0xA5};
  EXPECT_EQ(HexText(kBytes, 3), "009fa5");
  EXPECT_EQ(HexText(kBytes, 3, HexCase::Upper), "009FA5");
  EXPECT_EQ(HexText(kBytes, 0), "");
}

TEST(FormatUuidTest, WritesTheFieldsInHostOrder) {
  constexpr Platform::Uuid kUuid = {0xABCDEF, 0x12, 0x4003, {0x80, 0, 1, 2, 3, 4, 5, 0xFE}};
  const UuidText text = FormatUuid(kUuid);
  EXPECT_EQ(text.View(), "00abcdef-0012-4003-8000-0102030405fe");
  EXPECT_EQ(text.text[text.View().size()], '\0');
}

}  // namespace
}  // namespace Tav
