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

#include <cstdint>
#include <string>

#include "test_access/kept_parts.h"

struct Backdoor final {
 public:
  using SendHook = int32_t (*)(const uint8_t* data, size_t length);

  Backdoor() = default;
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
  ~Backdoor() = default;

  const char* ReturnText(std::string text);

  Tav::KeptParts parts_;
  std::string text_;  // what ReturnText returned last
};
