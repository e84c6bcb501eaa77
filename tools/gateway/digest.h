// Digests of texts.
#pragma once

#include <string>
#include <string_view>

namespace Gateway {

// SHA-256 of the bytes, hexadecimal. Empty on failure.
std::string Sha256Hex(std::string_view bytes);

}  // namespace Gateway
