// Random identifiers and hashing by the system's own services.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Tav::Platform {

// A new random UUID, fields in host order as the system's structure has them.
struct Uuid {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];
};
Uuid NewUuid();

enum class HashAlgorithm { Sha1, Sha256 };

// Steps of a hash computation, so that a failure can be named. A service that does several of them
// in one call reports the first.
enum class HashStep {
  None,
  OpenProvider,
  ObjectLength,
  AllocateObject,
  CreateHash,
  HashData,
  DigestLength,
  DigestTooLarge,
  FinishHash,
};

struct HashResult {
  uint32_t length = 0;                   // bytes written to the digest; 0 when a step failed
  HashStep failedStep = HashStep::None;  // the step that failed
  long status = 0;                       // that step's system status
};

// Hashes `size` bytes into `digest`, which has room for `digestSize` bytes.
HashResult Hash(HashAlgorithm algorithm,
                const void* data,
                size_t size,
                uint8_t* digest,
                uint32_t digestSize);

}  // namespace Tav::Platform
