#include "util/json_text.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "support/captured_log.h"
#include "support/random.h"
#include "support/records.h"
#include "util/byte_codec.h"
#include "util/json_members.h"
#include "util/value_codec.h"

namespace Tav {
namespace {

using Testing::Random;

std::string RealText(double number) {
  JsonText text(0);
  text.AddReal(number);
  return std::string(text.View());
}

std::string JanssonText(double number) {
  return Testing::Text(JsonPtr(json_real(number)).Get());
}

// The kinds of numbers that have text of a different form or length, and any bits at all.
double AnyNumber(Random& random) {
  const auto bits = static_cast<uint64_t>(random.Below(int64_t{1} << 32)) << 32 |
                    static_cast<uint64_t>(random.Below(int64_t{1} << 32));
  const double sign = random.OneIn(2) ? -1 : 1;
  const double whole = static_cast<double>(bits >> (11 + random.Below(53)));
  switch (random.Below(7)) {
    case 0:
      return sign * whole;
    case 1:
      return sign * whole / static_cast<double>(uint64_t{1} << random.Below(63));  // ties
    case 2:
      return sign * whole / std::pow(10, random.Below(20));  // what people write
    case 3:
      return std::nextafter(std::pow(10, random.Below(40) - 20), random.OneIn(2) ? 0 : 1e300);
    case 4:
      return std::ldexp(sign, static_cast<int>(random.Below(160)) - 80);
    case 5:
      return random.OneIn(2) ? 0.0 : -0.0;
    default:
      return std::bit_cast<double>(bits);
  }
}

std::string AnyText(Random& random) {
  std::string text;
  for (int64_t length = random.OneIn(50) ? 500 : random.Below(12); length > 0; --length) {
    switch (random.Below(16)) {
      case 0:
        text += static_cast<char>(random.Below(0x20));
        break;
      case 1:
        text += "\"\\/\x7F<"[random.Below(5)];
        break;
      case 2:
        text += "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xE2\x80\xA8";
        break;
      default:
        text += static_cast<char>('a' + random.Below(26));
    }
    if (random.OneIn(200)) {
      text += random.OneIn(2) ? "\xC0\x80" : "\xED\xA0\x80";  // over-long, surrogate
    }
  }
  return text;
}

// Writes members as no program of the library would.
class MemberWriter {
 public:
  explicit MemberWriter(Random& random) : random_(random) {}

  std::vector<std::byte> Write() {
    ByteWriter writer(memory_);
    Container(writer, true, 1);
    EXPECT_TRUE(writer.Fits());
    return {memory_.data(), memory_.data() + writer.Size()};
  }

 private:
  std::string Key(int64_t index) {
    if (random_.OneIn(12)) {
      return std::string(1, static_cast<char>('a' + random_.Below(3)));  // perhaps a second time
    }
    return (random_.OneIn(12) ? AnyText(random_) : "\"key\\") + std::to_string(index);
  }
  void Container(ByteWriter& writer, bool named, int depth) {
    const bool nested = random_.OneIn(3) && depth < 5;
    const int64_t count = random_.OneIn(100) && depth == 1 ? 100 : random_.Below(9);
    for (int64_t i = 0; i < count; ++i) {
      const auto kind = nested ? 1 + random_.Below(named ? 5 : 4) : 1 + random_.Below(2);
      const auto tag = static_cast<ValueTag>(kind);
      writer.Fixed(tag);
      if (named) {
        writer.Text(Key(i));
      }
      switch (tag) {
        case ValueTag::String:
          writer.Text(AnyText(random_));
          break;
        case ValueTag::Real:
          writer.Fixed(AnyNumber(random_));
          break;
        case ValueTag::Array:
          Container(writer, false, depth + 1);
          break;
        default:
          Container(writer, true, depth + 1);
      }
    }
    writer.Fixed(ValueTag::End);
  }

  Random& random_;
  std::vector<std::byte> memory_ = std::vector<std::byte>(1 << 20);
};

TEST(JsonTextTest, NumbersAreThoseOfJansson) {
  Random random(1);
  for (const double number : {0.1,
                              0.5,
                              1 / 3.0,
                              1e15,
                              9007199254740991.0,
                              9007199254740992.0,
                              9007199254740994.0,
                              1e16,
                              123456789012345678.0,
                              1e17,
                              1e21,
                              1e-4,
                              9.9999e-5,
                              0.00390625,
                              0.003906249999,
                              1e-7,
                              5e-324,
                              std::numeric_limits<double>::max(),
                              0.99999999999999989,
                              9.9999999999999982,
                              999999.5,
                              4503599627370495.5,
                              4503599627370496.5,
                              1.0000000000000002,
                              65535.99999999999}) {
    EXPECT_EQ(RealText(number), JanssonText(number));
    EXPECT_EQ(RealText(-number), JanssonText(-number));
  }
  int checked = 0;
  for (int i = 0; i < 200000; ++i) {
    const double number = AnyNumber(random);
    if (std::isfinite(number)) {
      ASSERT_EQ(RealText(number), JanssonText(number));
      ++checked;
    }
  }
  EXPECT_GT(checked, 190000);
}

TEST(JsonTextTest, EscapesAreThoseOfJansson) {
  std::string all;
  for (int c = 0; c < 0x80; ++c) {
    all += static_cast<char>(c);
  }
  for (const std::string& string : {all, all + "\xC3\xA4", std::string(), std::string(1, '\0')}) {
    JsonText text(0);
    text.AddString(string);
    EXPECT_EQ(text.View(), Testing::Text(MakeJsonString(string).Get()));
  }
}

TEST(JsonTextTest, MembersAreThoseOfJansson) {
  Testing::CapturedLog log;
  Random random(7);
  MemberWriter writer(random);
  int nested = 0;
  int repaired = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::vector<std::byte> members = writer.Write();
    ByteReader reader(members);
    const std::string expected = Testing::Text(ReadMembers(reader).Get());
    ASSERT_FALSE(reader.Failed());
    const size_t warnings = log.Take().size();
    JsonText text(0);
    text.Add("before");
    ASSERT_TRUE(AddMembers(text, members));
    ASSERT_EQ(text.View(), "before" + expected);
    ASSERT_EQ(log.Take().size() > 0, warnings > 0);
    nested += expected.find(":{") != std::string::npos ? 1 : 0;
    repaired += warnings > 0 ? 1 : 0;
  }
  EXPECT_GT(nested, 1000);
  EXPECT_GT(repaired, 500);
}

TEST(JsonTextTest, DamagedMembersLeaveTheTextAsItWas) {
  Random random(3);
  MemberWriter writer(random);
  int damaged = 0;
  for (int i = 0; i < 3000; ++i) {
    std::vector<std::byte> members = writer.Write();
    if (random.OneIn(3)) {
      members.resize(static_cast<size_t>(random.Below(static_cast<int64_t>(members.size()))));
    }
    for (int64_t flips = random.Below(3); flips > 0 && !members.empty(); --flips) {
      members[static_cast<size_t>(random.Below(static_cast<int64_t>(members.size())))] ^=
          std::byte{0x81};
    }
    ByteReader reader(members);
    const JsonPtr expected = ReadMembers(reader);
    JsonText text(0);
    text.Add("before");
    const bool appended = AddMembers(text, members);
    ASSERT_EQ(appended, !reader.Failed());
    ASSERT_EQ(text.View(), "before" + (appended ? Testing::Text(expected.Get()) : ""));
    damaged += appended ? 0 : 1;
  }
  EXPECT_GT(damaged, 1000);
}

}  // namespace
}  // namespace Tav
