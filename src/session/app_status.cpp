#include "session/app_status.h"

#include <string_view>
#include <utility>

#include "storage/storage_views.h"
#include "util/logger.h"

namespace Tav {

namespace {

using Access = PersistentStorage::Access;
using Changes = PersistentStorage::Changes;

}  // namespace

AppStatus::AppStatus(const LibraryConfig& config,
                     Consent consent,
                     std::unique_ptr<Platform::WmiSource> wmi)
    : consent_(consent),
      product_(config.productName,
               config.productVersion,
               config.productValues.get(),
               config.storage),
      client_(std::move(wmi), config.storage),
      settings_(product_.Identity()),
      collectionDue_(consent.AllowsMachineDescription()),
      storage_(config.storage) {}

void AppStatus::CollectClient() {
  if (collectionDue_) {
    collectionDue_ = !client_.Collect();
  }
}

bool AppStatus::CollectClientLate() {
  CollectClient();
  return !collectionDue_ && !client_.Pending() && OnClientComplete();
}

bool AppStatus::Load(int lockWait) {
  TAV_DEBUG("SM: CheckAppStatus. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  const StorageCloser closer(storage_);
  storage_.SetLockWait(lockWait);
  storage_.Open(Access::Read);
  storage_.SetLockWait(StorageFile::kDefaultLockWait);
  if (storage_.WasLocked()) {
    return false;
  }
  const bool clientChanged = client_.IsChanged(&storage_);
  const bool productChanged = product_.IsChanged(&storage_);
  product_.LoadEnvFromPS(&storage_);
  const bool newEndpoint = endpoint_.IsChanged(&storage_);
  settings_.LoadFromStorage(&storage_);
  storage_.CloseAndSave();
  changes_.OnCompared(productChanged, clientChanged);
  TAV_DEBUG("SM: App changed: %d (prodEnv: %d, cli: %d, ep: %d)", changes_.RecordDue(),
            productChanged, clientChanged, newEndpoint);
  if (newEndpoint) {
    endpoint_.Compute();
    endpointUnsaved_ = !StoreEndpoint(endpoint_);
  }
  return true;
}

// False when the file is locked. What `work` returns says whether the document is saved.
template <typename Work>
bool AppStatus::Update(Work work) {
  const StorageCloser closer(storage_);
  storage_.Open(Access::Update);
  if (storage_.WasLocked()) {
    return false;
  }
  storage_.Close(work() ? Changes::Save : Changes::Discard);
  return true;
}

// `found` adopts the identifier that another process has stored meanwhile, if any.
bool AppStatus::StoreEndpoint(Endpoint& found) {
  return Update([&] {
    const bool missing = found.IsChanged(&storage_);
    if (missing) {
      endpoint_.Persist(&storage_);
    }
    return missing;
  });
}

void AppStatus::ComputeEndpoint() {
  endpoint_.Compute();
}

void AppStatus::UpdateServer(const std::string& gatewayUrl) {
  if (!consent_.AllowsReports() || product_.GetServer() == gatewayUrl) {
    return;
  }
  product_.SetServer(gatewayUrl);
  newServer_ = true;
  changes_.OnProductChanged();
  if (HasClientInfo()) {
    changes_.OnMachineChanged();
  }
  TAV_DEBUG("SM: App changed. Sending product and client information due to server change");
}

// A description that is still being collected is sent when it is complete.
bool AppStatus::HasClientInfo() {
  if (client_.Pending()) {
    return false;
  }
  const StorageCloser closer(storage_);
  storage_.Open(Access::Read);
  client_.UseStored(&storage_);
  storage_.Close(Changes::Discard);
  return !client_.GetClientEnv().empty();
}

bool AppStatus::FinishClientInfo(int milliseconds) {
  return client_.Pending() && client_.Finish(milliseconds) && OnClientComplete();
}

void AppStatus::AbandonClientInfo() {
  client_.Abandon();
  OnClientComplete();
}

bool AppStatus::OnClientComplete() {
  client_.LogClientEnv();
  bool changed = false;
  {
    const StorageCloser closer(storage_);
    storage_.Open(Access::Read);
    changed = client_.IsChanged(&storage_);
    storage_.Close(Changes::Discard);
  }
  if (!changed && !newServer_) {
    return false;
  }
  changes_.OnMachineChanged();
  return true;
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

// A new server is stored when it also has the description of the machine. Otherwise a run that ends
// before the description is complete would leave that server without one.
bool AppStatus::MayStoreProduct() const {
  const bool lacksMachine = client_.Pending() || changes_.MachineUnsent();
  return changes_.ProductAccepted() && !(newServer_ && lacksMachine);
}

void AppStatus::PersistAccepted() {
  sentUnsaved_ = false;
  const bool storeProduct = MayStoreProduct();
  if (!storeProduct && !changes_.MachineAccepted()) {
    return;
  }
  TAV_DEBUG("SM: PersistAppStatusChanges: Persisting information");
  sentUnsaved_ = !Update([this, storeProduct] {
    if (storeProduct) {
      product_.PersistToPS(&storage_);
      changes_.OnProductStored();
    }
    if (changes_.MachineAccepted()) {
      client_.PersistClientInfo(&storage_);
      changes_.OnMachineStored();
    }
    return true;
  });
}

void AppStatus::PersistPendingOptOut() {
  if (!changes_.ProductNeverSent()) {
    return;
  }
  TAV_DEBUG("SM: ProcessTermination: writing pending opt-out key to PS");
  optOutUnsaved_ = !Update([this] {
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
  clearingUnsaved_ = !Update([this] {
    product_.ClearPendingOptOut(&storage_);
    return true;
  });
}

bool AppStatus::Unsaved() const {
  return endpointUnsaved_ || sentUnsaved_ || clearingUnsaved_ || optOutUnsaved_ ||
         product_.RewriteDue();
}

void AppStatus::StoreUnsaved(int lockWait) {
  storage_.SetLockWait(lockWait);
  if (endpointUnsaved_) {
    // The records of this run have the identifier already.
    Endpoint stored;
    endpointUnsaved_ = !StoreEndpoint(stored);
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
  if (!Update([&] {
        settings_.SaveToStorage(&storage_, settings);
        return true;
      })) {
    LogWarning("SM: The storage file is locked. Dropped the settings until the next request");
  }
  storage_.SetLockWait(StorageFile::kDefaultLockWait);
}

}  // namespace Tav
