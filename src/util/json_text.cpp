#include "util/json_text.h"

#include <algorithm>
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

char* PutEscape(char* to, char c) {
  constexpr std::string_view kNamed = "\"\\\b\f\n\r\t";
  constexpr std::string_view kNames = "\"\\bfnrt";
  constexpr char kHexDigits[] = "0123456789ABCDEF";
  *to++ = '\\';
  if (const size_t index = kNamed.find(c); index != std::string_view::npos) {
    *to++ = kNames[index];
    return to;
  }
  std::memcpy(to, "u00", 3);
  to[3] = kHexDigits[static_cast<unsigned char>(c) >> 4];
  to[4] = kHexDigits[static_cast<unsigned char>(c) & 0xF];
  return to + 5;
}

// At least `minDigits` digits.
char* PutNumber(char* to, uint64_t number, int minDigits) {
  int digits = 0;
  for (uint64_t rest = number; rest != 0 || digits < minDigits; rest /= 10) {
    ++digits;
  }
  char* const end = to + digits;
  for (char* at = end; at != to; number /= 10) {
    *--at = static_cast<char>('0' + number % 10);
  }
  return end;
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

}  // namespace

JsonText::JsonText(size_t capacity) : bytes_(new char[capacity]), capacity_(capacity) {}

void JsonText::Grow(size_t size) {
  const size_t capacity = std::max(capacity_ * 2, size_ + size);
  std::unique_ptr<char[]> grown(new char[capacity]);
  std::memcpy(grown.get(), bytes_.get(), size_);
  bytes_ = std::move(grown);
  capacity_ = capacity;
}

// The memory for `size` more bytes, which count from now on.
char* JsonText::Room(size_t size) {
  if (size > capacity_ - size_) {
    Grow(size);
  }
  char* const room = bytes_.get() + size_;
  size_ += size;
  return room;
}

void JsonText::Add(std::string_view bytes) {
  std::memcpy(Room(bytes.size()), bytes.data(), bytes.size());
}

void JsonText::AddName(char separator, std::string_view name) {
  Add(separator);
  AddString(name);
  Add(':');
}

void JsonText::AddString(std::string_view string) {
  if (IsPlain(string)) {
    char* const to = Room(string.size() + 2);
    to[0] = '"';
    std::memcpy(to + 1, string.data(), string.size());
    to[string.size() + 1] = '"';
  } else if (IsAscii(string)) {
    AddEscaped(string);
  } else {
    const JsonPtr checked = OrThrow(MakeJsonString(string));
    AddEscaped(JsonStringView(checked.Get()));
  }
}

void JsonText::AddEscaped(std::string_view string) {
  constexpr size_t kMaxEscape = 6;
  const size_t before = size_;
  char* const begin = Room(2 + string.size() * kMaxEscape);
  char* to = begin;
  *to++ = '"';
  for (const char c : string) {
    if (NeedsEscape(c)) {
      to = PutEscape(to, c);
    } else {
      *to++ = c;
    }
  }
  *to++ = '"';
  CutTo(before + static_cast<size_t>(to - begin));
}

void JsonText::AddReal(double number) {
  constexpr size_t kMaxLength = 42;  // a sign, a point and two numbers of 64 bits
  Decimal decimal;
  if (number != 0 && !ToDecimal(number, decimal)) {
    AddValue(OrThrow(JsonPtr(json_real(number))).Get());
    return;
  }
  const size_t before = size_;
  char* const begin = Room(kMaxLength);
  char* to = begin;
  if (std::signbit(number)) {
    *to++ = '-';
  }
  to = PutNumber(to, decimal.whole, 1);
  *to++ = '.';
  to = PutNumber(to, decimal.fraction, decimal.places == 0 ? 1 : decimal.places);
  CutTo(before + static_cast<size_t>(to - begin));
}

void JsonText::AddValue(const json_t* value) {
  // No exception may pass through jansson.
  constexpr auto add = [](const char* bytes, size_t size, void* text) noexcept {
    try {
      static_cast<JsonText*>(text)->Add({bytes, size});
      return 0;
    } catch (...) {
      return -1;
    }
  };
  if (json_dump_callback(value, add, this, JSON_COMPACT | JSON_ENCODE_ANY) != 0) {
    throw std::bad_alloc();
  }
}

// Nearly all events: a few strings and numbers with different ASCII keys. False for others.
bool JsonText::AddPlainMembers(std::span<const std::byte> bytes) {
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
    AddName(separator, members.Key());
    separator = ',';
    if (members.IsString()) {
      AddString(members.Text());
    } else {
      AddReal(members.Number());
    }
  }
  Add(separator == '{' ? "{}" : "}");
  return members.AtEnd();
}

bool JsonText::AddMembers(std::span<const std::byte> members) {
  const size_t before = size_;
  if (AddPlainMembers(members)) {
    return true;
  }
  CutTo(before);
  ByteReader reader(members);
  JsonPtr object = ReadMembers(reader);
  if (reader.Failed()) {
    return false;
  }
  AddValue(OrThrow(std::move(object)).Get());
  return true;
}

}  // namespace Tav
