#include "gateway/digest.h"

#include <openssl/evp.h>

namespace Gateway {

std::string Sha256Hex(std::string_view bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
    return {};
  }
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (unsigned i = 0; i < length; ++i) {
    hex += kDigits[digest[i] >> 4U];
    hex += kDigits[digest[i] & 0x0FU];
  }
  return hex;
}

}  // namespace Gateway
