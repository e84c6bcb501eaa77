#include "storage/product_info.h"

#include <utility>

#include "platform/clock.h"
#include "storage/storage_keys.h"
#include "storage/storage_views.h"
#include "storage/stored_env.h"
#include "util/logger.h"

namespace Tav {

namespace {

using Access = PersistentStorage::Access;
using ProductView = PersistentStorage::ProductView;

constexpr char kPlatformCode[] = "wntx64";
constexpr int64_t kMillisecondsPerSecond = 1000;

void TraceEntries(const EnvMap& entries) {
  for (const auto& [key, value] : entries) {
    TAV_DEBUG("    key: %s, type: %d, strData: %s, numData: %f", key.c_str(),
              static_cast<int>(value.type), value.text.c_str(), value.number);
  }
}

}  // namespace

ProductInfo::ProductInfo(std::string name,
                         std::string version,
                         const PendingProductValues* values,
                         std::optional<StorageLocation> location)
    : identity_{std::move(name), std::move(version), kPlatformCode},
      location_(std::move(location)),
      env_(values) {
  const EnvValue* const optOut = env_.Find(kOptOutKey);
  if (optOut != nullptr && optOut->type == EnvType::String) {
    optOut_ = optOut->text;
  }
}

void ProductInfo::SetServer(std::string url) {
  server_ = std::move(url);
  serverChanged_ = true;
  env_.DiscardChanges();
}

bool ProductInfo::FindEnvValue(std::string_view key, EnvValue& value) const {
  const EnvValue* const found = env_.Find(key);
  value = found != nullptr ? *found : EnvValue();
  return found != nullptr;
}

const EnvMap* ProductInfo::GetEnvData(bool& isIncremental) const {
  TAV_DEBUG("PI: GetEnvData. Current OptOut: %s, Incremental: %d, serverChanged: %d",
            optOut_.c_str(), env_.IsIncremental(), serverChanged_);
  if (serverChanged_) {
    TAV_DEBUG("PI: Get full PE because of server changed.");
    isIncremental = false;
    return env_.All();
  }
  isIncremental = env_.IsIncremental();
  const EnvMap* const values = isIncremental ? env_.Changes() : env_.All();
  if (!isIncremental) {
    TAV_DEBUG("PI: Get full PE.");
  } else if (values != nullptr) {
    TAV_DEBUG("PI: Get incremental PE.");
  }
  if (values != nullptr) {
    TraceEntries(*values);
  }
  return values;
}

void ProductInfo::LoadEnvFromPS(PersistentStorage* storage) {
  env_.AddStored(LoadStoredEnv(storage, identity_));
}

bool ProductInfo::IsChanged(PersistentStorage* storage) {
  const ProductView product(storage, identity_, Access::Read);
  const std::string pending = product.GetValue(StorageKeys::kPendingOptOut).text;
  if (!pending.empty()) {
    pendingCleared_ = false;
    TAV_DEBUG("PI: Pending PS opt-out status: %s", pending.c_str());
  }
  bool changed = true;
  if (product.GetValue(StorageKeys::kRegistered).text.empty()) {
    TAV_DEBUG("PI: Changed (not registered)");
  } else {
    changed = env_.All() != nullptr && CompareWithStorage(storage, pending);
  }
  if (changed && !env_.IsIncremental() && optOut_ == "true") {
    env_.AddChange(kOptOutKey, EnvValue::String("true"));
    env_.BeginIncremental();
  }
  EnvValue server = product.GetValue(StorageKeys::kServer);
  if (server.type == EnvType::String) {
    server_ = std::move(server.text);
  }
  TAV_DEBUG("PI: (%s,%s,%s): %s, incremental: %d", GetName().c_str(), GetVersion().c_str(),
            GetPlatform().c_str(), changed ? "changed" : "unchanged", env_.IsIncremental());
  return changed;
}

// For a registered product whose application set values.
bool ProductInfo::CompareWithStorage(PersistentStorage* storage, const std::string& pendingOptOut) {
  if (CollectChanges(storage)) {
    return true;
  }
  TAV_DEBUG("PI: Checking pending opt-out. pendingOptOut = %s", pendingOptOut.c_str());
  if (optOut_ != "false" || pendingOptOut != "true") {
    return false;
  }
  env_.AddChange(kOptOutKey, EnvValue::String("false"));
  TAV_DEBUG("PI: changed (currently opt-in with a pending opt-out from previous session");
  return true;
}

bool ProductInfo::CollectChanges(PersistentStorage* storage) {
  const std::optional<EnvMap> changes = FindStoredChanges(storage, identity_, *env_.All());
  if (!changes) {
    TAV_DEBUG("PI: Changed (PE in PS is empty)");
    return true;
  }
  for (const auto& [key, value] : *changes) {
    env_.AddChange(key, value);
  }
  env_.BeginIncremental();
  return !changes->empty();
}

void ProductInfo::PersistToPS(PersistentStorage* storage) {
  TAV_TRACE("PI: persist info to PS (%s,%s,%s)", GetName().c_str(), GetVersion().c_str(),
            GetPlatform().c_str());
  ProductView product(storage, identity_, Access::Update);
  product.SetValue(StorageKeys::kRegistered,
                   std::to_string(Platform::UnixMilliseconds() / kMillisecondsPerSecond));
  product.SetValue(StorageKeys::kServer, server_);
  if (!pendingCleared_) {
    product.SetValue(StorageKeys::kPendingOptOut, std::string());
    pendingCleared_ = true;
  }
  if (env_.All() != nullptr) {
    StoreEnv(storage, identity_, *env_.All());
    env_.BeginIncremental();
  }
  env_.DiscardChanges();
  serverChanged_ = false;
  rewriteDue_ = false;
}

void ProductInfo::PersistPendingOptOut(PersistentStorage* storage) {
  ProductView(storage, identity_, Access::Update).SetValue(StorageKeys::kPendingOptOut, optOut_);
  pendingCleared_ = false;
  TAV_DEBUG("PI: Persisted pending opt-out = '%s'", optOut_.c_str());
}

void ProductInfo::ClearPendingOptOut(PersistentStorage* storage) {
  ProductView(storage, identity_, Access::Update)
      .SetValue(StorageKeys::kPendingOptOut, std::string());
  pendingCleared_ = true;
  TAV_DEBUG("PI: Cleared pending opt-out status.");
}

bool ProductInfo::UpdateProductEnv(std::string_view key, const json_t* value, bool isMap) {
  const std::string keyText(key);
  TAV_DEBUG("PI: UpdateProductEnv. Key: %s, isMap: %d", keyText.c_str(), isMap);
  const EnvUpdate update = env_.Update(keyText, value, isMap);
  if (update == EnvUpdate::OnlyErased && !storedUnknown_) {
    RewriteStoredEnv();
  }
  return update == EnvUpdate::Changed;
}

// Values that were not sent yet are not stored.
void ProductInfo::RewriteStoredEnv() {
  PersistentStorage storage(location_);
  storage.Open(Access::Update);
  rewriteDue_ = storage.WasLocked();
  EraseStoredValues(&storage, identity_, env_);
  storage.CloseAndSave();
}

}  // namespace Tav
