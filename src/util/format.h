// Values as text: URL encoding, hexadecimal digits, UUIDs and sizes. Nothing here depends on the
// locale that the host sets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/identifiers.h"

namespace Tav {

// Escapes every byte but ASCII letters, digits, '-', '.', '_' and '~' as '%' and two lower-case
// hexadecimal digits.
std::string UrlEncode(std::string_view text);

enum class HexCase { Lower, Upper };

// Two hexadecimal digits for each byte.
std::string HexText(const uint8_t* bytes, size_t count, HexCase digits = HexCase::Lower);

// A UUID as 8-4-4-4-12 lower-case hexadecimal digits, zero-terminated.
struct UuidText {
  char text[37];
  std::string_view View() const { return {text, sizeof text - 1}; }
};

// Does not allocate.
UuidText FormatUuid(const Platform::Uuid& uuid);

// A number of bytes for people, rounded to the nearest whole number: "2047 Bytes", "2 KB" and so on
// up to TB.
std::string FormatSize(double bytes);

}  // namespace Tav
