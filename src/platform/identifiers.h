// Identifiers and hashes. Any thread.
#pragma once

#include <array>
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

// A random UUID (version 4) from the system. May load a system library: not on a host's thread.
Uuid NewUuid() noexcept;

// A UUID of the same form that is unique but can be guessed. Costs nanoseconds, without a lock, a
// system library or memory, so that a host's thread can call it.
Uuid NewUniqueUuid() noexcept;

// Words that, taken together, differ between any two processes on any machines. For NewUniqueUuid.
using ProcessSeed = std::array<uint64_t, 6>;
ProcessSeed GatherProcessSeed() noexcept;

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

// Uses the system's cryptographic library, which the first call loads: not on a host's thread.
// Writes the digest of `size` bytes to `digest`, which has room for `digestSize` bytes.
HashResult Hash(HashAlgorithm algorithm,
                const void* data,
                size_t size,
                uint8_t* digest,
                uint32_t digestSize);

}  // namespace Tav::Platform
