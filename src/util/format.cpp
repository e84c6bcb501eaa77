#include "util/format.h"

#include <cmath>
#include <cstdio>
#include <limits>

namespace Tav {

namespace {

constexpr bool IsUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

// Limited to the range of int; 0 for NaN.
int ToInt(double value) {
  constexpr int kMax = std::numeric_limits<int>::max();
  if (!(value > -static_cast<double>(kMax))) {
    return std::isnan(value) ? 0 : -kMax;
  }
  return value < kMax ? static_cast<int>(value) : kMax;
}

}  // namespace

std::string UrlEncode(std::string_view text) {
  std::string encoded;
  encoded.reserve(text.size());
  for (const char character : text) {
    if (IsUnreserved(character)) {
      encoded += character;
    } else {
      const auto byte = static_cast<uint8_t>(character);
      encoded.append(1, '%').append(HexText(&byte, 1));
    }
  }
  return encoded;
}

std::string HexText(const uint8_t* bytes, size_t count, HexCase digits) {
  const char* const characters = digits == HexCase::Lower ? "0123456789abcdef" : "0123456789ABCDEF";
  std::string hex(count * 2, '\0');
  for (size_t i = 0; i < count; ++i) {
    hex[2 * i] = characters[bytes[i] >> 4];
    hex[2 * i + 1] = characters[bytes[i] & 0xF];
  }
  return hex;
}

UuidText FormatUuid(const Platform::Uuid& uuid) {
  UuidText result;
  std::snprintf(result.text, sizeof result.text, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                uuid.data1, uuid.data2, uuid.data3, uuid.data4[0], uuid.data4[1], uuid.data4[2],
                uuid.data4[3], uuid.data4[4], uuid.data4[5], uuid.data4[6], uuid.data4[7]);
  return result;
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
