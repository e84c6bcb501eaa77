#include "test_access/backdoor.h"

#include <memory>
#include <optional>
#include <utility>

#include "api/entry_guard.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "machine/client_info.h"
#include "machine/endpoint.h"
#include "storage/product_info.h"
#include "test_access/server_calls.h"
#include "transport/data_sender.h"

using namespace Tav;

namespace {

ProductIdentity Product(const char* name, const char* version, const char* platform) {
  return {OrEmpty(name), OrEmpty(version), OrEmpty(platform)};
}

}  // namespace

int32_t Backdoor::CreateClientInfo() noexcept {
  return Boundary(kFailed, [&] {
    parts_.clientInfo = std::make_unique<ClientInfo>();
    return kYes;
  });
}

int32_t Backdoor::CreateProductInfo(const char* name, const char* version) noexcept {
  return Boundary(kFailed, [&] {
    parts_.productInfo = std::make_unique<ProductInfo>(OrEmpty(name), OrEmpty(version), nullptr);
    return kYes;
  });
}

int32_t Backdoor::OpenStorage(int32_t timestamps, int32_t update) noexcept {
  return Boundary(kFailed, [&] { return Tav::OpenStorage(parts_, timestamps != 0, update != 0); });
}

int32_t Backdoor::CreateClientView() noexcept {
  return Boundary(kFailed, [&] { return Tav::CreateClientView(parts_); });
}

int32_t Backdoor::CreateProductView(const char* name,
                                    const char* version,
                                    const char* platform) noexcept {
  return Boundary(kFailed,
                  [&] { return Tav::CreateProductView(parts_, Product(name, version, platform)); });
}

int32_t Backdoor::CreateProductEnvView(const char* name,
                                       const char* version,
                                       const char* platform,
                                       int32_t settings) noexcept {
  return Boundary(kFailed, [&] {
    return Tav::CreateProductEnvView(parts_, Product(name, version, platform), settings != 0);
  });
}

const char* Backdoor::CreateEndpoint(int32_t steps) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    return Tav::CreateEndpoint(parts_, steps) ? ReturnText(parts_.endpoint->GetId()) : nullptr;
  });
}

int32_t Backdoor::CreateCacheManager(const char* prefix) noexcept {
  return Boundary(kFailed, [&] { return Tav::CreateCacheManager(parts_, OrEmpty(prefix)); });
}

const char* Backdoor::GetText(int32_t part, const char* key) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    std::optional<std::string> text = parts_.FindText(static_cast<KeptPart>(part), OrEmpty(key));
    return text.has_value() ? ReturnText(std::move(*text)) : nullptr;
  });
}

int32_t Backdoor::SetViewValue(int32_t view,
                               const char* key,
                               const char* value,
                               int32_t isNumber) noexcept {
  return Boundary(kFailed, [&] {
    return Tav::SetViewValue(parts_, static_cast<KeptPart>(view), OrEmpty(key), value,
                             isNumber != 0);
  });
}

int32_t Backdoor::CallCacheManager(int32_t operation, int32_t argument) noexcept {
  return Boundary(kFailed, [&] {
    return Tav::CallCacheManager(parts_, static_cast<CacheOperation>(operation), argument);
  });
}

int32_t Backdoor::CallStorage(int32_t operation) noexcept {
  return Boundary(
      kFailed, [&] { return Tav::CallStorage(parts_, static_cast<StorageOperation>(operation)); });
}

int32_t Backdoor::CallClientInfo(int32_t operation, int32_t milliseconds) noexcept {
  return Boundary(kFailed, [&] {
    return Tav::CallClientInfo(parts_, static_cast<ClientInfoOperation>(operation), milliseconds);
  });
}

int32_t Backdoor::CallProductInfo(int32_t operation, const char* key, const char* value) noexcept {
  return Boundary(kFailed, [&] {
    return Tav::CallProductInfo(parts_, static_cast<ProductInfoOperation>(operation), OrEmpty(key),
                                OrEmpty(value));
  });
}

void Backdoor::SetStorageFile(const char* path) noexcept {
  Boundary([&] { PersistentStorage::SetAlternatePS(OrEmpty(path)); });
}

void Backdoor::SetStorageDirectory(const char* directory) noexcept {
  Boundary([&] { PersistentStorage::SetAlternatePSDirectory(OrEmpty(directory)); });
}

const char* Backdoor::GetStorageFileName(int32_t timestamps) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    using Document = PersistentStorage::Document;
    return ReturnText(
        PersistentStorage::GetPSFileSpec(timestamps != 0 ? Document::Timestamps : Document::Main));
  });
}

void Backdoor::SetSendHook(SendHook hook) noexcept {
  TestDataSender::SetHook(hook);
}

void Backdoor::SetTuning(int32_t maxCacheBytes,
                         int32_t maxRecordSize,
                         int32_t maxEventSize,
                         int32_t sendThreshold,
                         int32_t maxMemorySize,
                         int32_t flushInterval,
                         int32_t pauseInterval,
                         int32_t breadcrumbLength,
                         int32_t maxTraceItems) noexcept {
  Library& library = GetLibrary();
  library.config.maxCacheBytes = maxCacheBytes;
  library.config.maxRecordSize = maxRecordSize;
  library.config.maxEventSize = maxEventSize;
  library.config.sendThreshold = sendThreshold;
  library.config.maxMemorySize = maxMemorySize;
  library.config.flushInterval = flushInterval;
  library.config.pauseInterval = pauseInterval;
  library.config.breadcrumbLength = breadcrumbLength;
  library.maxTraceItems = maxTraceItems;
}

void Backdoor::SetTestFlag(int32_t flag) noexcept {
  GetLibrary().testFlag = flag != 0;
}

void Backdoor::SetConfigOverride(const char* url) noexcept {
  Boundary([&] { GetLibrary().config.hostConfigUrl = OrEmpty(url); });
}

const char* Backdoor::FetchSettings(const char* url, const char* name) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    std::optional<std::string> setting = FetchSetting(OrEmpty(url), OrEmpty(name));
    return setting.has_value() ? ReturnText(std::move(*setting)) : nullptr;
  });
}

const char* Backdoor::ComposeConfigUrl(const char* hostUrl,
                                       const char* environmentVariable,
                                       const char* serverValue,
                                       const char* externalUrl,
                                       const char* internalUrl,
                                       const char* developmentUrl) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    return Tav::ComposeConfigUrl(
        OrEmpty(hostUrl), OrEmpty(environmentVariable), OrEmpty(serverValue),
        {OrEmpty(externalUrl), OrEmpty(internalUrl), OrEmpty(developmentUrl)});
  });
}

void Backdoor::Destroy(int32_t freeObject) noexcept {
  parts_.Clear();
  text_.clear();
  if (freeObject != 0) {
    delete this;
  }
}

const char* Backdoor::ReturnText(std::string text) {
  text_ = std::move(text);
  return text_.c_str();
}

Backdoor* TAV_CALL TavCreateBackdoor() {
  return Boundary<Backdoor*>(nullptr, [] { return new Backdoor; });
}
