// Digests of short texts, for identifiers that must not show what they were made of.
#pragma once

#include <cstdint>
#include <string>

namespace Tav {

// Algorithms by number: what callers keep in their own formats.
constexpr int kHashSha1 = 0;
constexpr int kHashSha256 = 1;

// Hashes the text's bytes into `digest` and returns the digest's length: 20 or 32 bytes. Returns 0
// when the algorithm is unknown, or, after a WARN that names the step, when the system's service
// fails or `digestSize` bytes are too few. Any thread; costs tens of microseconds.
uint32_t HashText(int algorithm, const std::string& text, uint8_t* digest, uint32_t digestSize);

// The text's SHA-256 digest, its two halves combined by exclusive or, as 32 lower-case hexadecimal
// digits; empty when hashing failed.
std::string HashTextToHex(const std::string& text);

}  // namespace Tav
