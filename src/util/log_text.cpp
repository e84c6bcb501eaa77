#include "util/log_text.h"

#include <cstdio>

namespace Tav {

namespace {

unsigned char ByteAt(std::string_view text, size_t index) {
  return static_cast<unsigned char>(text[index]);
}

// The size of the control character at `index`; 0 for any other character.
size_t ControlSize(std::string_view text, size_t index) {
  const unsigned char byte = ByteAt(text, index);
  if (byte < 0x20 || byte == 0x7F) {
    return 1;
  }
  const bool isC1 = byte == 0xC2 && index + 1 < text.size() && ByteAt(text, index + 1) >= 0x80 &&
                    ByteAt(text, index + 1) < 0xA0;
  return isC1 ? 2 : 0;
}

}  // namespace

bool HasControls(std::string_view text) {
  for (size_t index = 0; index < text.size(); ++index) {
    if (ControlSize(text, index) != 0) {
      return true;
    }
  }
  return false;
}

std::string EscapeControls(std::string_view text) {
  std::string escaped;
  for (size_t index = 0; index < text.size();) {
    const size_t size = ControlSize(text, index);
    if (size == 0) {
      escaped.push_back(text[index++]);
    }
    for (const size_t end = index + size; index < end; ++index) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(ByteAt(text, index)));
      escaped.append(escape);
    }
  }
  return escaped;
}

Masked::Masked(std::string_view text) {
  std::snprintf(text_, sizeof text_, "[%lu bytes]", static_cast<unsigned long>(text.size()));
}

}  // namespace Tav
