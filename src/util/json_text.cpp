#include "util/json_text.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "util/byte_codec.h"
#include "util/text.h"
#include "util/value_codec.h"

namespace Tav {

namespace {

constexpr size_t kMaxDigits = 20;

// Null means that memory ran out.
JsonPtr OrThrow(JsonPtr value) {
  if (!value) {
    throw std::bad_alloc();
  }
  return value;
}

constexpr bool NeedsEscape(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

// Whether `string` is ASCII and needs no escapes. In words of 8 bytes.
bool IsPlain(std::string_view string) {
  constexpr uint64_t kOnes = 0x0101010101010101;
  constexpr uint64_t kHighBits = kOnes * 0x80;
  const auto below = [](uint64_t word, uint64_t limit) { return (word - kOnes * limit) & ~word; };
  uint64_t found = 0;
  uint64_t word = 0;
  const char* at = string.data();
  size_t left = string.size();
  for (; left >= sizeof word; left -= sizeof word, at += sizeof word) {
    std::memcpy(&word, at, sizeof word);
    found |=
        word | below(word, 0x20) | below(word ^ kOnes * '"', 1) | below(word ^ kOnes * '\\', 1);
  }
  for (; left > 0; --left, ++at) {
    found |= NeedsEscape(*at) ? kHighBits : static_cast<unsigned char>(*at);
  }
  return (found & kHighBits) == 0;
}

void AppendEscape(std::string& text, char c) {
  constexpr std::string_view kNamed = "\"\\\b\f\n\r\t";
  constexpr std::string_view kNames = "\"\\bfnrt";
  constexpr std::string_view kHexDigits = "0123456789ABCDEF";
  if (const size_t index = kNamed.find(c); index != std::string_view::npos) {
    text += '\\';
    text += kNames[index];
    return;
  }
  text += "\\u00";
  text += kHexDigits[static_cast<unsigned char>(c) >> 4];
  text += kHexDigits[static_cast<unsigned char>(c) & 0xF];
}

void AppendEscaped(std::string& text, std::string_view string) {
  size_t begin = 0;
  for (size_t at = 0; at < string.size(); ++at) {
    if (NeedsEscape(string[at])) {
      text.append(string, begin, at - begin);
      AppendEscape(text, string[at]);
      begin = at + 1;
    }
  }
  text.append(string, begin);
}

// At least `minDigits` digits.
void AppendNumber(std::string& text, uint64_t number, int minDigits) {
  char digits[kMaxDigits];
  size_t begin = kMaxDigits;
  for (; number != 0 || minDigits > 0; number /= 10, --minDigits) {
    digits[--begin] = static_cast<char>('0' + number % 10);
  }
  text.append(digits + begin, kMaxDigits - begin);
}

// A number of which 17 significant digits are kept, the last one rounded: whole + fraction / ten,
// where `places` is the number of digits after the point.
struct Decimal {
  uint64_t whole = 0;
  uint64_t fraction = 0;
  int places = 0;
};

// With numbers of 64 bits, for most numbers that occur: about 0.004 to 9e15. False for others, and
// for a number halfway between two results.
bool ToDecimal(double number, Decimal& decimal) {
  constexpr int kSignificant = 17;
  constexpr int kMaxShift = 60;  // ten times the rest must fit
  constexpr int kMantissaBits = 52;
  constexpr int kExponentBias = 1075;
  const auto bits = std::bit_cast<uint64_t>(number);
  const int shift = kExponentBias - static_cast<int>(bits >> kMantissaBits & 0x7FF);
  if (shift < 0 || shift > kMaxShift) {
    return false;
  }
  const uint64_t one = uint64_t{1} << kMantissaBits;
  const uint64_t mantissa = (bits & (one - 1)) | one;
  const uint64_t unit = uint64_t{1} << shift;
  uint64_t rest = mantissa & (unit - 1);
  decimal.whole = mantissa >> shift;
  int significant = 0;
  for (uint64_t whole = decimal.whole; whole != 0; whole /= 10) {
    ++significant;
  }
  uint64_t power = 1;  // of ten
  while (rest != 0 && significant < kSignificant) {
    rest *= 10;
    decimal.fraction = decimal.fraction * 10 + (rest >> shift);
    rest &= unit - 1;
    power *= 10;
    ++decimal.places;
    significant += decimal.whole != 0 || decimal.fraction != 0 ? 1 : 0;
  }
  if (rest * 2 == unit) {
    return false;
  }
  if (rest * 2 > unit && ++decimal.fraction == power) {
    ++decimal.whole;
    decimal.fraction = 0;
  }
  for (; decimal.places > 0 && decimal.fraction % 10 == 0; --decimal.places) {
    decimal.fraction /= 10;
  }
  return true;
}

// Reads an object's members that are strings or numbers.
class PlainMembers {
 public:
  explicit PlainMembers(std::span<const std::byte> members) : reader_(members) {}

  // False after the last one, and at a member of another kind or damage.
  bool Next() {
    tag_ = static_cast<ValueTag>(reader_.Fixed<uint8_t>());
    if (tag_ != ValueTag::String && tag_ != ValueTag::Real) {
      return false;
    }
    key_ = reader_.Text();
    if (tag_ == ValueTag::String) {
      text_ = reader_.Text();
    } else {
      number_ = reader_.Fixed<double>();
    }
    return !reader_.Failed();
  }
  bool AtEnd() const { return tag_ == ValueTag::End && !reader_.Failed(); }

  std::string_view Key() const { return key_; }
  bool IsString() const { return tag_ == ValueTag::String; }
  std::string_view Text() const { return text_; }
  double Number() const { return number_; }

 private:
  ByteReader reader_;
  ValueTag tag_ = ValueTag::End;
  std::string_view key_;
  std::string_view text_;
  double number_ = 0;
};

// The keys of an object, to find those that appear twice.
class Keys {
 public:
  // False if the key is there already or there are too many.
  bool Add(std::string_view key) {
    const uint64_t bit = BitOf(key);
    if (count_ == keys_.size() || ((bits_ & bit) != 0 && Contains(key))) {
      return false;
    }
    bits_ |= bit;
    keys_[count_++] = key;
    return true;
  }

 private:
  static uint64_t BitOf(std::string_view key) {
    const size_t hash = key.empty()
                            ? 0
                            : key.size() * 7 + static_cast<unsigned char>(key.front()) * 3u +
                                  static_cast<unsigned char>(key.back());
    return uint64_t{1} << (hash & 63);
  }
  bool Contains(std::string_view key) const {
    for (size_t i = 0; i < count_; ++i) {
      if (keys_[i] == key) {
        return true;
      }
    }
    return false;
  }

  std::array<std::string_view, 64> keys_;
  size_t count_ = 0;
  uint64_t bits_ = 0;  // one for each key; most different keys have different bits
};

// Nearly all events: a few strings and numbers with different ASCII keys. False for others.
bool AppendPlainMembers(std::string& text, std::span<const std::byte> bytes) {
  PlainMembers members(bytes);
  Keys keys;
  char separator = '{';
  while (members.Next()) {
    // JSON has no such number.
    if (!members.IsString() && !std::isfinite(members.Number())) {
      continue;
    }
    if (!IsAscii(members.Key()) || !keys.Add(members.Key())) {
      return false;
    }
    text += separator;
    separator = ',';
    AppendJsonString(text, members.Key());
    text += ':';
    if (members.IsString()) {
      AppendJsonString(text, members.Text());
    } else {
      AppendJsonReal(text, members.Number());
    }
  }
  text += separator == '{' ? "{}" : "}";
  return members.AtEnd();
}

}  // namespace

void AppendJsonString(std::string& text, std::string_view string) {
  text += '"';
  if (IsPlain(string)) {
    text += string;
  } else if (IsAscii(string)) {
    AppendEscaped(text, string);
  } else {
    const JsonPtr checked = OrThrow(MakeJsonString(string));
    AppendEscaped(text, JsonStringView(checked.Get()));
  }
  text += '"';
}

void AppendJsonReal(std::string& text, double number) {
  Decimal decimal;
  if (number != 0 && !ToDecimal(number, decimal)) {
    AppendJsonValue(text, OrThrow(JsonPtr(json_real(number))).Get());
    return;
  }
  if (std::signbit(number)) {
    text += '-';
  }
  AppendNumber(text, decimal.whole, 1);
  text += '.';
  AppendNumber(text, decimal.fraction, decimal.places == 0 ? 1 : decimal.places);
}

void AppendJsonValue(std::string& text, const json_t* value) {
  // No exception may pass through jansson.
  constexpr auto append = [](const char* piece, size_t size, void* to) noexcept {
    try {
      static_cast<std::string*>(to)->append(piece, size);
      return 0;
    } catch (...) {
      return -1;
    }
  };
  if (json_dump_callback(value, append, &text, JSON_COMPACT | JSON_ENCODE_ANY) != 0) {
    throw std::bad_alloc();
  }
}

bool AppendJsonMembers(std::string& text, std::span<const std::byte> members) {
  const size_t before = text.size();
  if (AppendPlainMembers(text, members)) {
    return true;
  }
  text.resize(before);
  ByteReader reader(members);
  JsonPtr object = ReadMembers(reader);
  if (reader.Failed()) {
    return false;
  }
  AppendJsonValue(text, OrThrow(std::move(object)).Get());
  return true;
}

}  // namespace Tav
