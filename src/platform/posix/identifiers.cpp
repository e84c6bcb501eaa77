#include "platform/identifiers.h"

#include <openssl/evp.h>
#include <sys/random.h>

#include <memory>

namespace Tav::Platform {

namespace {

struct FreeContext {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

HashResult Failure(HashStep step) {
  return {0, step, -1};
}

void Randomise(void* bytes, size_t size) {
  // Fails only before the system has seeded its generator.
  while (getrandom(bytes, size, 0) != static_cast<ssize_t>(size)) {
  }
}

}  // namespace

Uuid NewUuid() noexcept {
  Uuid uuid{};
  Randomise(&uuid, sizeof uuid);
  uuid.data3 = static_cast<uint16_t>((uuid.data3 & 0x0FFF) | 0x4000);
  uuid.data4[0] = static_cast<uint8_t>((uuid.data4[0] & 0x3F) | 0x80);
  return uuid;
}

ProcessSeed GatherProcessSeed() noexcept {
  ProcessSeed seed{};
  Randomise(seed.data(), sizeof seed);
  return seed;
}

HashResult Hash(HashAlgorithm algorithm,
                const void* data,
                size_t size,
                uint8_t* digest,
                uint32_t digestSize) {
  const EVP_MD* const method = algorithm == HashAlgorithm::Sha1 ? EVP_sha1() : EVP_sha256();
  const std::unique_ptr<EVP_MD_CTX, FreeContext> context(EVP_MD_CTX_new());
  if (!context) {
    return Failure(HashStep::AllocateObject);
  }
  if (EVP_DigestInit_ex(context.get(), method, nullptr) != 1) {
    return Failure(HashStep::CreateHash);
  }
  if (EVP_DigestUpdate(context.get(), data, size) != 1) {
    return Failure(HashStep::HashData);
  }
  const auto length = static_cast<uint32_t>(EVP_MD_get_size(method));
  if (length > digestSize) {
    return {0, HashStep::DigestTooLarge, 0};
  }
  unsigned int written = 0;
  if (EVP_DigestFinal_ex(context.get(), digest, &written) != 1) {
    return Failure(HashStep::FinishHash);
  }
  return {written, HashStep::None, 0};
}

}  // namespace Tav::Platform
