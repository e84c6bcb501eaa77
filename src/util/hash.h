// Digests of short texts, for identifiers that must not reveal what they were made from.
#pragma once

#include <cstdint>
#include <string>

#include "platform/identifiers.h"

namespace Tav {

using Platform::HashAlgorithm;

// Writes the digest of the text's bytes and returns its length, 20 or 32 bytes. Returns 0 for an
// unknown algorithm and, after a warning that names the step, if `digestSize` is too small or the
// system fails. Any thread; costs tens of microseconds.
uint32_t HashText(HashAlgorithm algorithm,
                  const std::string& text,
                  uint8_t* digest,
                  uint32_t digestSize);

// The text's SHA-256 digest folded in half by exclusive or, as 32 lower-case hexadecimal digits;
// empty on failure.
std::string HashTextToHex(const std::string& text);

}  // namespace Tav
