#include "session/app_status.h"

#include <string_view>
#include <utility>

#include "storage/storage_views.h"
#include "util/logger.h"

namespace Tav {

AppStatus::AppStatus(const LibraryConfig& config,
                     Consent consent,
                     std::unique_ptr<Platform::WmiSource> wmi)
    : consent_(consent),
      product_(config.productName,
               config.productVersion,
               config.productValues.get(),
               config.storage),
      settings_(product_.Identity()),
      storage_(config.storage),
      machine_(storage_, changes_, consent, std::move(wmi), config.storage) {}

bool AppStatus::Load(int lockWait) {
  TAV_DEBUG_HERE("SM: CheckAppStatus");
  const StorageCloser closer(storage_);
  storage_.SetLockWait(lockWait);
  storage_.Open(PersistentStorage::Access::Read);
  storage_.SetLockWait(StorageFile::kDefaultLockWait);
  if (storage_.WasLocked()) {
    return false;
  }
  const bool clientChanged = machine_.ClientChanged();
  const bool productChanged = product_.IsChanged(&storage_);
  product_.LoadEnvFromPS(&storage_);
  const bool newEndpoint = machine_.EndpointChanged();
  settings_.LoadFromStorage(&storage_);
  storage_.CloseAndSave();
  changes_.OnCompared(productChanged, clientChanged);
  TAV_DEBUG("SM: App changed: %d (prodEnv: %d, cli: %d, ep: %d)", changes_.RecordDue(),
            productChanged, clientChanged, newEndpoint);
  if (newEndpoint) {
    machine_.CreateEndpoint();
  }
  return true;
}

void AppStatus::UpdateServer(const std::string& gatewayUrl) {
  if (!consent_.AllowsReports() || product_.GetServer() == gatewayUrl) {
    return;
  }
  product_.SetServer(gatewayUrl);
  changes_.OnNewServer();
  if (machine_.HasClientInfo()) {
    changes_.OnMachineChanged();
  }
  TAV_DEBUG("SM: App changed. Sending product and client information due to server change");
}

void AppStatus::OnProductEnv(const TavValue_s& value) {
  const bool isMap = value.kind == HandleKind::Map;
  if (!consent_.AllowsReports() ||
      !product_.UpdateProductEnv(value.name.View(), value.payload.Get(), isMap)) {
    return;
  }
  changes_.OnProductChanged();
  TAV_DEBUG("SM: OnProductEnv. Changed: added new: %s", value.name.CString());
}

void AppStatus::PersistAppStatusChanges() {
  PersistAccepted();
  if (!changes_.ProductUnsent()) {
    ClearPendingOptOut();
  }
}

void AppStatus::PersistAccepted() {
  sentUnsaved_ = false;
  const bool storeProduct = changes_.ProductStorable(machine_.ClientPending());
  if (!storeProduct && !changes_.MachineAccepted()) {
    return;
  }
  TAV_DEBUG("SM: PersistAppStatusChanges: Persisting information");
  sentUnsaved_ = !UpdateMainDocument(storage_, [this, storeProduct] {
    if (storeProduct) {
      product_.PersistToPS(&storage_);
      changes_.OnProductStored();
    }
    if (changes_.MachineAccepted()) {
      machine_.PersistClientInfo();
    }
    return true;
  });
}

void AppStatus::PersistPendingOptOut() {
  if (!changes_.ProductNeverSent()) {
    return;
  }
  TAV_DEBUG("SM: ProcessTermination: writing pending opt-out key to PS");
  optOutUnsaved_ = !UpdateMainDocument(storage_, [this] {
    product_.PersistPendingOptOut(&storage_);
    return true;
  });
}

void AppStatus::ClearOldOptOut() {
  if (consent_.AllowsReports() || product_.IsPendingOptOutCleared()) {
    return;
  }
  TAV_DEBUG("SM: In opt-out mode with pending opt-out in PS. Clearing it...");
  ClearPendingOptOut();
}

void AppStatus::ClearPendingOptOut() {
  if (product_.IsPendingOptOutCleared()) {
    return;
  }
  clearingUnsaved_ = !UpdateMainDocument(storage_, [this] {
    product_.ClearPendingOptOut(&storage_);
    return true;
  });
}

bool AppStatus::Unsaved() const {
  return machine_.EndpointUnsaved() || sentUnsaved_ || clearingUnsaved_ || optOutUnsaved_ ||
         product_.RewriteDue();
}

void AppStatus::StoreUnsaved(int lockWait) {
  storage_.SetLockWait(lockWait);
  if (machine_.EndpointUnsaved()) {
    machine_.StoreUnsavedEndpoint();
  }
  if (sentUnsaved_) {
    PersistAccepted();
  }
  if (clearingUnsaved_) {
    ClearPendingOptOut();
  }
  if (optOutUnsaved_) {
    PersistPendingOptOut();
  }
  if (product_.RewriteDue()) {
    product_.RewriteStoredEnv();
  }
  storage_.SetLockWait(StorageFile::kDefaultLockWait);
}

void AppStatus::StoreFetchedSettings(const std::string& answer,
                                     const std::string& gatewayInForce,
                                     int lockWait) {
  Settings settings;
  if (!settings_.ParseSettings(settings, answer)) {
    return;
  }
  settings_.RefuseGateway(settings, gatewayInForce);
  if (!settings_.IsChanged(settings)) {
    return;
  }
  TAV_DEBUG("SM: Updating PS with new settings");
  storage_.SetLockWait(lockWait);
  if (!UpdateMainDocument(storage_, [&] {
        settings_.SaveToStorage(&storage_, settings);
        return true;
      })) {
    LogWarning("SM: The storage file is locked. Dropped the settings until the next request");
  }
  storage_.SetLockWait(StorageFile::kDefaultLockWait);
}

}  // namespace Tav
