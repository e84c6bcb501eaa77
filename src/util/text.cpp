#include "util/text.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

#include "util/logger.h"

namespace Tav {

namespace {

// What isspace answers in the C locale.
constexpr bool IsWhiteSpace(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

// How many continuation bytes a byte announces; negative for one that may not lead.
constexpr int ContinuationBytes(unsigned char lead) {
  if (lead < 0x80) {
    return 0;
  }
  if (lead < 0xC0 || lead >= 0xF8) {
    return -1;
  }
  return lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
}

constexpr bool IsUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

// The nearest int; a size too large for one, or no number at all, does not overflow.
int ToInt(double value) {
  constexpr int kMost = std::numeric_limits<int>::max();
  if (!(value > -static_cast<double>(kMost))) {
    return std::isnan(value) ? 0 : -kMost;
  }
  return value < kMost ? static_cast<int>(value) : kMost;
}

}  // namespace

std::string Latin1ToUtf8(std::string_view text) {
  std::string utf8;
  utf8.reserve(text.size() * 2);
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
      utf8 += character;
    } else {
      utf8 += static_cast<char>(0xC0 | (byte >> 6));
      utf8 += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return utf8;
}

bool IsUtf8(std::string_view text) {
  constexpr uint64_t kHighBits = 0x8080808080808080;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    uint64_t word;
    if (end - at >= static_cast<ptrdiff_t>(sizeof word)) {
      std::memcpy(&word, at, sizeof word);
      if ((word & kHighBits) == 0) {
        at += sizeof word;
        continue;
      }
    }
    const int more = ContinuationBytes(static_cast<unsigned char>(*at++));
    if (more < 0 || end - at < more) {
      return false;
    }
    for (int i = 0; i < more; ++i) {
      if ((static_cast<unsigned char>(*at++) & 0xC0) != 0x80) {
        return false;
      }
    }
  }
  return true;
}

std::string_view TrimView(std::string_view text) {
  while (!text.empty() && IsWhiteSpace(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && IsWhiteSpace(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

Utf8Text::Utf8Text(const char* text, bool trim) : view_(text ? text : "") {
  if (trim) {
    view_ = TrimView(view_);
  }
  if (!IsUtf8(view_)) {
    LogWarning("String contains non-UTF-8 characters");
    repaired_ = Latin1ToUtf8(view_);
    view_ = repaired_;
  }
}

std::string ToUtf8String(const char* text, bool trim) {
  return std::string(Utf8Text(text, trim).View());
}

std::string UrlEncode(std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string encoded;
  encoded.reserve(text.size());
  for (const char character : text) {
    if (IsUnreserved(character)) {
      encoded += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return encoded;
}

std::string FormatSize(double bytes) {
  constexpr double kUnit = 1024;
  constexpr double kLimit = 2048;
  constexpr const char* kNames[] = {"Bytes", "KB", "MB", "GB", "TB"};
  constexpr int kLargest = 4;
  double amount = bytes;
  int unit = 0;
  while (amount >= kLimit && unit < kLargest) {
    amount /= kUnit;
    ++unit;
  }
  char text[50];
  std::snprintf(text, sizeof text, "%d %s", ToInt(unit == 0 ? amount : std::floor(amount + 0.5)),
                kNames[unit]);
  return text;
}

}  // namespace Tav
