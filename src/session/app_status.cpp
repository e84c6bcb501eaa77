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
      product_(config.productName, config.productVersion, config.productValues.get()),
      client_(std::move(wmi)),
      settings_(product_.Identity()) {}

void AppStatus::CollectClient() {
  if (consent_.AllowsMachineDescription()) {
    client_.Collect();
  }
}

void AppStatus::Load() {
  TAV_DEBUG("SM: CheckAppStatus. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  const StorageCloser closer(storage_);
  storage_.Open(Access::Read);
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
    StoreEndpoint();
  }
}

// Adopts the identifier that another process has stored meanwhile, if any.
void AppStatus::StoreEndpoint() {
  endpoint_.Compute();
  const StorageCloser closer(storage_);
  storage_.Open(Access::Update);
  const bool missing = endpoint_.IsChanged(&storage_);
  if (missing) {
    endpoint_.Persist(&storage_);
  }
  storage_.Close(missing ? Changes::Save : Changes::Discard);
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
  const bool storeProduct = MayStoreProduct();
  if (!storeProduct && !changes_.MachineAccepted()) {
    return;
  }
  TAV_DEBUG("SM: PersistAppStatusChanges: Persisting information");
  const StorageCloser closer(storage_);
  storage_.Open(Access::Update);
  if (storeProduct) {
    product_.PersistToPS(&storage_);
    changes_.OnProductStored();
  }
  if (changes_.MachineAccepted()) {
    client_.PersistClientInfo(&storage_);
    changes_.OnMachineStored();
  }
  storage_.CloseAndSave();
}

void AppStatus::PersistPendingOptOut() {
  if (!changes_.ProductNeverSent()) {
    return;
  }
  TAV_DEBUG("SM: ProcessTermination: writing pending opt-out key to PS");
  const StorageCloser closer(storage_);
  storage_.Open(Access::Update);
  product_.PersistPendingOptOut(&storage_);
  storage_.CloseAndSave();
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
  const StorageCloser closer(storage_);
  storage_.Open(Access::Update);
  product_.ClearPendingOptOut(&storage_);
  storage_.CloseAndSave();
}

void AppStatus::StoreFetchedSettings(const std::string& answer, const std::string& gatewayInForce) {
  Settings settings;
  if (!settings_.ParseSettings(settings, answer)) {
    return;
  }
  settings_.RefuseGateway(settings, gatewayInForce);
  if (!settings_.IsChanged(settings)) {
    return;
  }
  TAV_DEBUG("SM: Updating PS with new settings");
  const StorageCloser closer(storage_);
  storage_.Open(Access::Update);
  settings_.SaveToStorage(&storage_, settings);
  storage_.CloseAndSave();
}

}  // namespace Tav
