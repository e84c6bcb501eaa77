// Random identifiers and hashes from the system's cryptographic services. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Tav::Platform {

// The fields are in host byte order.
struct Uuid {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];
};

// A random UUID (version 4).
Uuid NewUuid();

enum class HashAlgorithm { Sha1, Sha256 };

// The step that failed. A service that combines several steps reports the first of them.
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
  uint32_t length = 0;  // bytes written to the digest; 0 after a failure
  HashStep failedStep = HashStep::None;
  long status = 0;  // the system's status of the failed step
};

// Writes the digest of `size` bytes to `digest`, which has room for `digestSize` bytes.
HashResult Hash(HashAlgorithm algorithm,
                const void* data,
                size_t size,
                uint8_t* digest,
                uint32_t digestSize);

}  // namespace Tav::Platform
