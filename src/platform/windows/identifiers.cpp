#include "platform/identifiers.h"

#include <windows.h>
// These need windows.h.
#include <bcrypt.h>
#include <rpc.h>

#include <cstring>
#include <memory>
#include <new>

namespace Tav::Platform {

namespace {

// Owns a handle, or null.
class Provider {
 public:
  ~Provider() {
    if (handle) {
      BCryptCloseAlgorithmProvider(handle, 0);
    }
  }
  BCRYPT_ALG_HANDLE handle = nullptr;
};

class HashObject {
 public:
  ~HashObject() {
    if (handle) {
      BCryptDestroyHash(handle);
    }
  }
  BCRYPT_HASH_HANDLE handle = nullptr;
};

constexpr bool Failed(NTSTATUS status) {
  return status < 0;
}

HashResult Failure(HashStep step, long status = 0) {
  return {0, step, status};
}

NTSTATUS GetSize(BCRYPT_HANDLE object, const wchar_t* property, DWORD* size) {
  DWORD written = 0;
  return BCryptGetProperty(object, property, reinterpret_cast<PUCHAR>(size), sizeof *size, &written,
                           0);
}

// Version 4, from the system's random numbers.
Uuid RandomUuid() {
  Uuid uuid{};
  BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(&uuid), sizeof uuid,
                  BCRYPT_USE_SYSTEM_PREFERRED_RNG);
  uuid.data3 = static_cast<uint16_t>((uuid.data3 & 0x0FFF) | 0x4000);
  uuid.data4[0] = static_cast<uint8_t>((uuid.data4[0] & 0x3F) | 0x80);
  return uuid;
}

}  // namespace

Uuid NewUuid() {
  UUID system;
  const RPC_STATUS status = UuidCreate(&system);
  // RPC_S_UUID_LOCAL_ONLY warns of UUIDs made without a network address; these are random.
  if (status != RPC_S_OK && status != RPC_S_UUID_LOCAL_ONLY) {
    return RandomUuid();
  }
  static_assert(sizeof(Uuid) == sizeof(UUID));
  Uuid uuid;
  std::memcpy(&uuid, &system, sizeof uuid);
  return uuid;
}

HashResult Hash(HashAlgorithm algorithm,
                const void* data,
                size_t size,
                uint8_t* digest,
                uint32_t digestSize) {
  const wchar_t* const name =
      algorithm == HashAlgorithm::Sha1 ? BCRYPT_SHA1_ALGORITHM : BCRYPT_SHA256_ALGORITHM;
  Provider provider;
  NTSTATUS status = BCryptOpenAlgorithmProvider(&provider.handle, name, nullptr, 0);
  if (Failed(status)) {
    return Failure(HashStep::OpenProvider, status);
  }
  DWORD objectSize = 0;
  status = GetSize(provider.handle, BCRYPT_OBJECT_LENGTH, &objectSize);
  if (Failed(status)) {
    return Failure(HashStep::ObjectLength, status);
  }
  // Must outlive the hash, which uses it as its memory.
  const std::unique_ptr<UCHAR[]> object(new (std::nothrow) UCHAR[objectSize]);
  if (!object) {
    return Failure(HashStep::AllocateObject);
  }
  HashObject hash;
  status = BCryptCreateHash(provider.handle, &hash.handle, object.get(), objectSize, nullptr, 0, 0);
  if (Failed(status)) {
    return Failure(HashStep::CreateHash, status);
  }
  // The data is only read; the declaration lacks a const.
  status = BCryptHashData(hash.handle, static_cast<PUCHAR>(const_cast<void*>(data)),
                          static_cast<ULONG>(size), 0);
  if (Failed(status)) {
    return Failure(HashStep::HashData, status);
  }
  DWORD digestLength = 0;
  status = GetSize(provider.handle, BCRYPT_HASH_LENGTH, &digestLength);
  if (Failed(status)) {
    return Failure(HashStep::DigestLength, status);
  }
  if (digestLength > digestSize) {
    return Failure(HashStep::DigestTooLarge);
  }
  status = BCryptFinishHash(hash.handle, digest, digestLength, 0);
  if (Failed(status)) {
    return Failure(HashStep::FinishHash, status);
  }
  return {digestLength, HashStep::None, 0};
}

}  // namespace Tav::Platform
