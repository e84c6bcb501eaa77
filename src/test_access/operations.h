// The numbers that callers of a test-access object pass, and those it returns. docs/test-access.md
// lists them. They never change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace Tav {

// What operations return when they return a number.
inline constexpr int32_t kFailed = -1;
inline constexpr int32_t kNo = 0;
inline constexpr int32_t kYes = 1;

inline int32_t YesOrNo(bool yes) {
  return yes ? kYes : kNo;
}

inline int32_t CountResult(size_t count) {
  constexpr int32_t kMaxResult = std::numeric_limits<int32_t>::max();
  return count < static_cast<size_t>(kMaxResult) ? static_cast<int32_t>(count) : kMaxResult;
}

// The parts that a test-access object keeps.
enum class KeptPart : int32_t {
  ClientInfo = 1,
  ProductInfo = 2,
  Storage = 3,
  ClientView = 4,
  ProductView = 5,
  ProductEnvView = 6,
  Endpoint = 7,
  CacheManager = 8,
};

enum class CacheOperation : int32_t {
  Scan = 0,
  Load = 1,
  DeleteAll = 2,
  TotalSize = 3,
  FileCount = 4,
  Sequence = 5,
  Disabled = 6,
  DeleteFile = 7,
};

enum class StorageOperation : int32_t {
  HadParseError = 0,
  HadOpenError = 1,
  ProductCount = 2,
  Close = 3,
  CloseAndSave = 4,
  Destroy = 5,
};

enum class ClientInfoOperation : int32_t {
  Collect = 0,
  Finish = 1,
  LabelCount = 2,
  Log = 3,
  IsChanged = 4,
  Persist = 5,
};

enum class ProductInfoOperation : int32_t {
  SetServer = 0,
  SetValue = 1,
  SetMap = 2,
  ToSend = 3,
  IsPendingOptOutCleared = 4,
  IsChanged = 5,
  Load = 6,
  Persist = 7,
  PersistPendingOptOut = 8,
  ClearPendingOptOut = 9,
};

// The steps of CreateEndpoint, added up.
inline constexpr int32_t kEndpointRead = 1;
inline constexpr int32_t kEndpointCompute = 2;
inline constexpr int32_t kEndpointPersist = 4;

}  // namespace Tav
