#include "util/text.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "support/failing_json.h"
#include "util/json.h"

namespace Tav {
namespace {

// The rule, one byte at a time.
bool IsUtf8ByteByByte(std::string_view text) {
  int expected = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const bool continues = byte >= 0x80 && byte <= 0xBF;
    if (continues != (expected > 0) || byte >= 0xF8) {
      return false;
    }
    expected = continues ? expected - 1 : byte < 0x80 ? 0 : byte < 0xE0 ? 1 : byte < 0xF0 ? 2 : 3;
  }
  return expected == 0;
}

TEST(IsUtf8Test, AgreesWithASimpleCheckAtEveryAlignment) {
  EXPECT_TRUE(IsUtf8("\xC0\x80\xED\xA0\x80\xF7\xBF\xBF\xBF"))
      << "over-long forms and surrogates pass";
  EXPECT_FALSE(IsUtf8("\xF8\x88\x80\x80\x80"));
  EXPECT_FALSE(IsUtf8("12345678\x80"));
  std::string ascii;
  for (int byte = 0; byte < 0x80; ++byte) {
    ascii += static_cast<char>(byte);
  }
  std::mt19937 random(1);
  const std::string_view pieces[] = {
      "a",        "bcdefghi",     "\xC3\xA9",         "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
      "\xC0\x80", "\xED\xA0\x80", "\xF7\xBF\xBF\xBF", "jk",           "lmnopqrstuvwxyz"};
  int valid = 0;
  for (int turn = 0; turn < 20000; ++turn) {
    std::string text;
    for (unsigned i = random() % 8; i > 0; --i) {
      text += pieces[random() % std::size(pieces)];
    }
    if (!text.empty() && random() % 2) {
      text[random() % text.size()] = static_cast<char>(random() % 256);
    }
    if (random() % 8 == 0) {
      text.resize(random() % (text.size() + 1));
    }
    valid += IsUtf8ByteByByte(text);
    ASSERT_EQ(IsUtf8(text), IsUtf8ByteByByte(text)) << turn;
    ASSERT_EQ(IsAscii(text), text.find_first_not_of(ascii) == std::string::npos) << turn;
  }
  EXPECT_GT(valid, 5000);
  EXPECT_LT(valid, 19000);
}

// Of what IsUtf8 accepts, the first two bytes decide.
TEST(IsStrictUtf8Test, AgreesWithJansson) {
  int valid = 0;
  for (int lead = 0; lead < 0x100; ++lead) {
    for (int second = 0; second < 0x100; ++second) {
      for (const char* const rest : {"", "\x80", "\xBF", "\x80\x80", "\xBF\xBF", "a"}) {
        const std::string text = {static_cast<char>(lead), static_cast<char>(second)};
        const std::string whole = "x" + text + rest;
        const bool strict = IsStrictUtf8(whole);
        ASSERT_EQ(strict, bool(JsonPtr(json_stringn(whole.data(), whole.size()))))
            << lead << ' ' << second << ' ' << rest;
        valid += strict;
      }
    }
  }
  EXPECT_GT(valid, 0x80 * 0x80);
}

TEST(JsonStringTest, ALackOfMemoryIsNoBadText) {
  const std::string_view good = "caf\xC3\xA9";
  const std::string_view surrogate = "\xED\xA0\x80";
  for (const std::string_view text : {good, surrogate}) {
    const Testing::FailingJson failing(0);
    EXPECT_FALSE(MakeJsonString(text));
  }
  EXPECT_EQ(JsonStringView(MakeJsonString(good).Get()), good);
  EXPECT_EQ(JsonStringView(MakeJsonString(surrogate).Get()), "\xC3\xAD\xC2\xA0\xC2\x80");
  const JsonPtr object(json_object());
  for (const std::string_view key : {good, surrogate}) {
    JsonPtr value = MakeJsonString("value");
    const Testing::FailingJson failing(0);
    EXPECT_FALSE(SetJsonMember(object.Get(), key, std::move(value)));
  }
  EXPECT_EQ(json_object_size(object.Get()), 0u);
  EXPECT_TRUE(SetJsonMember(object.Get(), good, MakeJsonString("value")));
  EXPECT_EQ(JsonStringView(json_object_getn(object.Get(), good.data(), good.size())), "value");
}

TEST(Utf8TextTest, TrimsOnlyTheCLocalesWhiteSpace) {
  EXPECT_EQ(ToUtf8String(" \t\n\v\f\r a b \r\n", true), "a b");
  EXPECT_EQ(ToUtf8String(" a ", false), " a ");
  EXPECT_EQ(ToUtf8String(" \t ", true), "");
  EXPECT_EQ(ToUtf8String(nullptr, true), "");
  EXPECT_EQ(ToUtf8String("\xC2\xA0x\x1F", true), "\xC2\xA0x\x1F");
}

TEST(Utf8TextTest, DecodesTextThatIsNotUtf8AsLatin1) {
  EXPECT_EQ(ToUtf8String(" \x80\xFF ", true), "\xC2\x80\xC3\xBF");
  // The whole text, the valid sequence included.
  EXPECT_EQ(ToUtf8String("\xC3\xA9\xE9", false), "\xC3\x83\xC2\xA9\xC3\xA9");
  const char host[] = "  caf\xC3\xA9  ";
  EXPECT_EQ(Utf8Text(host, true).View().data(), host + 2) << "UTF-8 is not copied";
}

TEST(CutUtf8Test, CutsBetweenCharacters) {
  constexpr std::string_view kText = "a\xC3\xA9\xF0\x9F\x98\x80z";  // of 1, 2, 4 and 1 bytes
  constexpr size_t kExpected[] = {0, 1, 1, 3, 3, 3, 3, 7, 8, 8};
  for (size_t most = 0; most < std::size(kExpected); ++most) {
    EXPECT_EQ(CutUtf8(kText, most), kText.substr(0, kExpected[most])) << most;
  }
}

}  // namespace
}  // namespace Tav
