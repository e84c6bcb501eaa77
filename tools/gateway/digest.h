// Digests of texts.
#pragma once

#include <string>
#include <string_view>

namespace Gateway {

// SHA-256 of the bytes, hexadecimal. Empty on failure.
std::string Sha256Hex(std::string_view bytes);

// Whether the texts are equal, by their SHA-256: takes the same time wherever they differ.
bool HaveSameDigest(std::string_view a, std::string_view b);

}  // namespace Gateway
