#include "util/text.h"

#include <cstdint>
#include <cstring>

#include "util/logger.h"

namespace Tav {

namespace {

// The number of continuation bytes that a lead byte announces; negative for any other byte.
constexpr int ContinuationBytes(unsigned char lead) {
  if (lead < 0x80) {
    return 0;
  }
  if (lead < 0xC0 || lead >= 0xF8) {
    return -1;
  }
  return lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
}

constexpr bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
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
  if (IsAscii(text)) {
    return true;
  }
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    const int more = ContinuationBytes(static_cast<unsigned char>(*at++));
    if (more < 0 || end - at < more) {
      return false;
    }
    for (int i = 0; i < more; ++i) {
      if (!IsContinuation(*at++)) {
        return false;
      }
    }
  }
  return true;
}

bool IsStrictUtf8(std::string_view text) {
  const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
  for (size_t i = 0; i < text.size(); ++i) {
    const unsigned lead = byte(i);
    if (lead < 0x80) {
      continue;
    }
    size_t left = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    if (lead < 0xC2 || lead > 0xF4 || text.size() - i <= left) {
      return false;
    }
    // The range of the second byte excludes the other forms that IsUtf8 accepts.
    unsigned first = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned last = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    for (; left > 0; --left, first = 0x80, last = 0xBF) {
      const unsigned next = byte(++i);
      if (next < first || next > last) {
        return false;
      }
    }
  }
  return true;
}

std::string_view CutUtf8(std::string_view text, size_t maxBytes) {
  if (text.size() <= maxBytes) {
    return text;
  }
  size_t length = maxBytes;
  while (length > 0 && IsContinuation(text[length])) {
    --length;
  }
  return text.substr(0, length);
}

Utf8Text::Utf8Text(const char* text, bool trim) {
  std::string_view view(text ? text : "");
  if (trim) {
    view = TrimView(view);
  }
  if (!IsAscii(view) && !IsUtf8(view)) [[unlikely]] {
    LogWarning("String contains non-UTF-8 characters");
    repaired_ = Latin1ToUtf8(view);
    view = repaired_;
  }
  view_ = view;
}

std::string ToUtf8String(const char* text, bool trim) {
  return std::string(Utf8Text(text, trim).View());
}

}  // namespace Tav
