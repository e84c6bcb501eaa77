#include "util/json_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "util/real_text.h"
#include "util/text.h"

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

}  // namespace Tav
