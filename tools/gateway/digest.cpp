#include "gateway/digest.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "platform/identifiers.h"

namespace Gateway {

std::string Sha256Hex(std::string_view bytes) {
  std::array<std::uint8_t, 32> digest;
  const Tav::Platform::HashResult result =
      Tav::Platform::Hash(Tav::Platform::HashAlgorithm::Sha256, bytes.data(), bytes.size(),
                          digest.data(), static_cast<std::uint32_t>(digest.size()));
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (std::uint32_t i = 0; i < result.length; ++i) {
    hex += kDigits[digest[i] >> 4U];
    hex += kDigits[digest[i] & 0x0FU];
  }
  return hex;
}

bool HaveSameDigest(std::string_view a, std::string_view b) {
  const std::string first = Sha256Hex(a);
  const std::string second = Sha256Hex(b);
  unsigned difference = first.size() != second.size() || first.empty() ? 1 : 0;
  for (std::size_t i = 0; i < std::min(first.size(), second.size()); ++i) {
    difference |= static_cast<unsigned>(first[i] ^ second[i]);
  }
  return difference == 0;
}

}  // namespace Gateway
