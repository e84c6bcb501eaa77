#include "platform/identifiers.h"

#include <windows.h>
// These need windows.h.
#include <bcrypt.h>
#include <rpc.h>

#include <cstring>
#include <memory>
#include <new>

#include "platform/windows/system_library.h"

namespace Tav::Platform {

namespace {

// The result of a function that cannot be found (STATUS_ENTRYPOINT_NOT_FOUND).
constexpr NTSTATUS kNotFound = static_cast<NTSTATUS>(0xC0000139);
constexpr wchar_t kBCrypt[] = L"bcrypt.dll";

constinit SystemFunction<decltype(BCryptCloseAlgorithmProvider)>
    bcryptCloseAlgorithmProvider(kBCrypt, "BCryptCloseAlgorithmProvider", kNotFound);
constinit SystemFunction<decltype(BCryptCreateHash)> bcryptCreateHash(kBCrypt,
                                                                      "BCryptCreateHash",
                                                                      kNotFound);
constinit SystemFunction<decltype(BCryptDestroyHash)> bcryptDestroyHash(kBCrypt,
                                                                        "BCryptDestroyHash",
                                                                        kNotFound);
constinit SystemFunction<decltype(BCryptFinishHash)> bcryptFinishHash(kBCrypt,
                                                                      "BCryptFinishHash",
                                                                      kNotFound);
constinit SystemFunction<decltype(BCryptGetProperty)> bcryptGetProperty(kBCrypt,
                                                                        "BCryptGetProperty",
                                                                        kNotFound);
constinit SystemFunction<decltype(BCryptHashData)> bcryptHashData(kBCrypt,
                                                                  "BCryptHashData",
                                                                  kNotFound);
constinit SystemFunction<decltype(BCryptOpenAlgorithmProvider)>
    bcryptOpenAlgorithmProvider(kBCrypt, "BCryptOpenAlgorithmProvider", kNotFound);

constinit SystemFunction<decltype(UuidCreate)> uuidCreate(L"rpcrt4.dll",
                                                          "UuidCreate",
                                                          RPC_S_CANNOT_SUPPORT);

// Owns a handle, or null.
class Provider {
 public:
  ~Provider() {
    if (handle) {
      bcryptCloseAlgorithmProvider(handle, 0);
    }
  }
  BCRYPT_ALG_HANDLE handle = nullptr;
};

class HashObject {
 public:
  ~HashObject() {
    if (handle) {
      bcryptDestroyHash(handle);
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
  return bcryptGetProperty(object, property, reinterpret_cast<PUCHAR>(size), sizeof *size, &written,
                           0);
}

}  // namespace

Uuid NewUuid() noexcept {
  UUID system;
  const RPC_STATUS status = uuidCreate(&system);
  // RPC_S_UUID_LOCAL_ONLY warns of UUIDs made without a network address; these are random.
  if (status != RPC_S_OK && status != RPC_S_UUID_LOCAL_ONLY) {
    return NewUniqueUuid();
  }
  static_assert(sizeof(Uuid) == sizeof(UUID));
  Uuid uuid;
  std::memcpy(&uuid, &system, sizeof uuid);
  return uuid;
}

// Two processes with the same words would have to start at the same tenth of a microsecond, with
// the same number of processor cycles since their machines started, and with the same addresses.
ProcessSeed GatherProcessSeed() noexcept {
  FILETIME time;
  GetSystemTimePreciseAsFileTime(&time);
  const uint64_t moment = (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
  const uint64_t ids = (uint64_t{GetCurrentProcessId()} << 32) | GetCurrentThreadId();
  ULONG_PTR stack = 0;
  ULONG_PTR stackEnd = 0;
  GetCurrentThreadStackLimits(&stack, &stackEnd);
  const auto image = reinterpret_cast<uintptr_t>(&GatherProcessSeed);
  const auto heap = reinterpret_cast<uintptr_t>(GetProcessHeap());
  return {moment, ReadTimeStampCounter(), ids, stack, image, heap};
}

HashResult Hash(HashAlgorithm algorithm,
                const void* data,
                size_t size,
                uint8_t* digest,
                uint32_t digestSize) {
  const wchar_t* const name =
      algorithm == HashAlgorithm::Sha1 ? BCRYPT_SHA1_ALGORITHM : BCRYPT_SHA256_ALGORITHM;
  Provider provider;
  NTSTATUS status = bcryptOpenAlgorithmProvider(&provider.handle, name, nullptr, 0);
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
  status = bcryptCreateHash(provider.handle, &hash.handle, object.get(), objectSize, nullptr, 0, 0);
  if (Failed(status)) {
    return Failure(HashStep::CreateHash, status);
  }
  // The data is only read; the declaration lacks a const.
  status = bcryptHashData(hash.handle, static_cast<PUCHAR>(const_cast<void*>(data)),
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
  status = bcryptFinishHash(hash.handle, digest, digestLength, 0);
  if (Failed(status)) {
    return Failure(HashStep::FinishHash, status);
  }
  return {digestLength, HashStep::None, 0};
}

}  // namespace Tav::Platform
