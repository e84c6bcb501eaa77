#include "util/json_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "util/byte_codec.h"
#include "util/real_text.h"
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
  *to++ = 'u';
  *to++ = '0';
  *to++ = '0';
  *to++ = kHexDigits[static_cast<unsigned char>(c) >> 4];
  *to++ = kHexDigits[static_cast<unsigned char>(c) & 0xF];
  return to;
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
      text_ = {};
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
  bytes.copy(Room(bytes.size()), bytes.size());
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
    string.copy(to + 1, string.size());
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
  char text[kRealTextSize];
  if (const size_t length = FormatReal(number, text)) {
    Add({text, length});
  } else {
    AddValue(OrThrow(JsonPtr(json_real(number))).Get());
  }
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
  // Later versions of jansson write fewer digits by default.
  constexpr size_t kFlags = JSON_COMPACT | JSON_ENCODE_ANY | JSON_REAL_PRECISION(17);
  if (json_dump_callback(value, add, this, kFlags) != 0) {
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
    if (!IsAscii(members.Key()) || !keys.Add(members.Key()) || !IsUtf8(members.Text())) {
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
