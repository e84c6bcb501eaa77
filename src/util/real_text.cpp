#include "util/real_text.h"

#include <bit>
#include <cmath>
#include <cstdint>

namespace Tav {

namespace {

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

// Exact, with numbers of 64 bits.
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

}  // namespace

size_t FormatReal(double number, char (&text)[kRealTextSize]) {
  Decimal decimal;
  if (number != 0 && !ToDecimal(number, decimal)) {
    return 0;
  }
  char* to = text;
  if (std::signbit(number)) {
    *to++ = '-';
  }
  to = PutNumber(to, decimal.whole, 1);
  *to++ = '.';
  to = PutNumber(to, decimal.fraction, decimal.places == 0 ? 1 : decimal.places);
  return static_cast<size_t>(to - text);
}

}  // namespace Tav
