#include "util/hash.h"

#include "util/format.h"
#include "util/log_text.h"
#include "util/logger.h"

namespace Tav {

namespace {

// `text` is masked: identifiers are hashed.
void LogFailure(const Platform::HashResult& result, const char* text) {
  using Platform::HashStep;
  switch (result.failedStep) {
    case HashStep::None:
      break;
    case HashStep::OpenProvider:
      LogWarning("Failed to open algorithm provider. Error = %ld", result.status);
      break;
    case HashStep::ObjectLength:
      LogWarning("Failed to get size of hash object. Error = %ld", result.status);
      break;
    case HashStep::AllocateObject:
      LogWarning("Failed to allocate memory for hash object");
      break;
    case HashStep::CreateHash:
      LogWarning("Failed to create the hash object. Error = %ld", result.status);
      break;
    case HashStep::HashData:
      LogWarning("Failed to hash '%s'. Error = %ld", text, result.status);
      break;
    case HashStep::DigestLength:
      LogWarning("Failed to retrieve size of hashed value for '%s'. Error = %ld", text,
                 result.status);
      break;
    case HashStep::DigestTooLarge:
      LogWarning("Buffer for hashed value of '%s' is too small.", text);
      break;
    case HashStep::FinishHash:
      LogWarning("Failed to retrieve hashed value of '%s'. Error = %ld", text, result.status);
      break;
  }
}

}  // namespace

uint32_t HashText(HashAlgorithm algorithm,
                  const std::string& text,
                  uint8_t* digest,
                  uint32_t digestSize) {
  if (algorithm != HashAlgorithm::Sha1 && algorithm != HashAlgorithm::Sha256) {
    return 0;
  }
  TAV_DEBUG("UT: Hashing '%s'...", Masked(text).Text());
  const Platform::HashResult result =
      Platform::Hash(algorithm, text.data(), text.size(), digest, digestSize);
  LogFailure(result, Masked(text).Text());
  return result.length;
}

std::string HashTextToHex(const std::string& text) {
  uint8_t digest[64];
  const uint32_t half = HashText(HashAlgorithm::Sha256, text, digest, sizeof digest) / 2;
  for (uint32_t i = 0; i < half; ++i) {
    digest[i] ^= digest[half + i];
  }
  return HexText(digest, half);
}

}  // namespace Tav
