// The text of a number with 17 significant digits, which every double survives.
#pragma once

#include <cstddef>

namespace Tav {

// Room for a sign, a point and the digits of two numbers of 64 bits.
inline constexpr size_t kRealTextSize = 42;

// Writes what "%.17g" gives in the C locale, with ".0" after a whole number, and no terminating
// zero. Many times as fast, for most numbers that occur: 0, about 0.004 to 9e15, and their
// negatives. Returns the length, 0 for other numbers and for one halfway between two results.
size_t FormatReal(double number, char (&text)[kRealTextSize]);

}  // namespace Tav
