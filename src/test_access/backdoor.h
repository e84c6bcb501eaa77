// The test-access object: drives the library's components one by one, without a session manager
// and its thread. For test tools, not for hosts. docs/test-access.md describes arguments and
// results.
//
// A tool in any language calls operation N through word N of the table that the object's first word
// points to. C++ compilers agree on that order only for ordinary virtual functions with different
// names in a class without bases: some give a virtual destructor two words, some reorder overloads.
// So the class has neither, only C types cross the interface, and new operations go to the end.
//
// One thread at a time uses an object. Every operation may wait for the disk; CreateEndpoint,
// CallClientInfo and FetchSettings also for system services or a server. None throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "storage/storage_views.h"

namespace Tav {

class CacheManager;
class ClientInfo;
class Endpoint;
class ProductInfo;

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

struct Backdoor final {
 public:
  using SendHook = int32_t (*)(const uint8_t* data, size_t length);

  Backdoor();
  Backdoor(const Backdoor&) = delete;
  Backdoor& operator=(const Backdoor&) = delete;

  // In slot order, from 0 on. A returned number is 1 or 0 for yes or no, or a count. -1 and a null
  // text mean failure: a part is missing, an argument is not valid, or memory ran out. Null text
  // arguments count as empty. A returned text is valid until the next call that returns one.
  virtual int32_t CreateClientInfo() noexcept;
  virtual int32_t CreateProductInfo(const char* name, const char* version) noexcept;
  virtual void SetStorageFile(const char* path) noexcept;
  virtual void SetStorageDirectory(const char* directory) noexcept;
  virtual int32_t CallCacheManager(int32_t operation, int32_t argument) noexcept;
  virtual int32_t OpenStorage(int32_t timestamps, int32_t update) noexcept;
  virtual int32_t CreateClientView() noexcept;
  virtual int32_t CreateProductView(const char* name,
                                    const char* version,
                                    const char* platform) noexcept;
  virtual int32_t CreateProductEnvView(const char* name,
                                       const char* version,
                                       const char* platform,
                                       int32_t settings) noexcept;
  virtual const char* CreateEndpoint(int32_t steps) noexcept;
  virtual void SetSendHook(SendHook hook) noexcept;
  virtual const char* GetText(int32_t part, const char* key) noexcept;
  virtual int32_t SetViewValue(int32_t view,
                               const char* key,
                               const char* value,
                               int32_t isNumber) noexcept;
  virtual int32_t CreateCacheManager(const char* prefix) noexcept;
  virtual int32_t CallStorage(int32_t operation) noexcept;
  virtual const char* GetStorageFileName(int32_t timestamps) noexcept;
  virtual void SetTuning(int32_t maxCacheBytes,
                         int32_t maxRecordSize,
                         int32_t maxEventSize,
                         int32_t sendThreshold,
                         int32_t maxMemorySize,
                         int32_t flushInterval,
                         int32_t pauseInterval,
                         int32_t breadcrumbLength,
                         int32_t maxTraceItems) noexcept;
  virtual void SetTestFlag(int32_t flag) noexcept;
  virtual int32_t CallClientInfo(int32_t operation, int32_t milliseconds) noexcept;
  virtual int32_t CallProductInfo(int32_t operation, const char* key, const char* value) noexcept;
  virtual void SetConfigOverride(const char* url) noexcept;
  virtual const char* FetchSettings(const char* url, const char* name) noexcept;
  virtual const char* ComposeConfigUrl(const char* hostUrl,
                                       const char* environmentVariable,
                                       const char* serverValue,
                                       const char* externalUrl,
                                       const char* internalUrl,
                                       const char* developmentUrl) noexcept;
  // Without `freeObject` the object can be used again, as if new.
  virtual void Destroy(int32_t freeObject) noexcept;

 private:
  ~Backdoor();

  Tav::PersistentStorage::View* ViewOf(Tav::KeptPart part) const;
  Tav::EnvValue FindValue(Tav::KeptPart part, const char* key) const;
  const char* ReturnText(std::string text);
  void DropViews();

  std::unique_ptr<Tav::ClientInfo> clientInfo_;
  std::unique_ptr<Tav::ProductInfo> productInfo_;
  std::unique_ptr<Tav::PersistentStorage> storage_;
  std::unique_ptr<Tav::PersistentStorage::ClientView> clientView_;
  std::unique_ptr<Tav::PersistentStorage::ProductView> productView_;
  std::unique_ptr<Tav::PersistentStorage::ProductEnvView> productEnvView_;
  std::unique_ptr<Tav::Endpoint> endpoint_;
  std::unique_ptr<Tav::CacheManager> cacheManager_;
  std::string text_;  // what ReturnText returned last
};
