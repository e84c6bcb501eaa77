// What the product environment and the storage have to do with each other.
#include <utility>

#include "platform/clock.h"
#include "storage/product_info.h"
#include "storage/storage_keys.h"
#include "storage/storage_views.h"
#include "util/logger.h"

namespace Tav {

namespace {

using ProductEnvView = PersistentStorage::ProductEnvView;
using ProductView = PersistentStorage::ProductView;

constexpr int64_t kMillisecondsPerSecond = 1000;

int TypeNumber(const EnvValue& value) {
  return static_cast<int>(value.type);
}

}  // namespace

void ProductInfo::LoadEnvFromPS(PersistentStorage* storage) {
  ProductEnvView stored(storage, name_, version_, platform_, false);
  EnvMap& full = Full();
  for (const std::string& key : stored.GetKeys()) {
    EnvValue value = stored.GetValue(key);
    TAV_TRACE("Product: (%s,%s,%s): existing PS: key=%s, type=%d, val(str)=%s, val(num)=%f",
              name_.c_str(), version_.c_str(), platform_.c_str(), key.c_str(), TypeNumber(value),
              value.text.c_str(), value.number);
    if (value.type != EnvType::None) {
      full.try_emplace(key, std::move(value));
    }
  }
}

bool ProductInfo::IsChanged(PersistentStorage* storage) {
  const ProductView product(storage, name_, version_, platform_);
  const std::string pending = product.GetValue(StorageKeys::kPendingOptOut).text;
  if (!pending.empty()) {
    pendingCleared_ = false;
    TAV_DEBUG("PI: Pending PS opt-out status: %s", pending.c_str());
  }
  bool changed = true;
  if (product.GetValue(StorageKeys::kRegistered).text.empty()) {
    TAV_DEBUG("PI: Changed (not registered)");
  } else {
    changed = fullEnv_ != nullptr && CompareWithStorage(storage, pending);
  }
  if (changed && !incremental_ && optOut_ == "true") {
    Incremental()[kOptOutKey] = EnvValue::String("true");
    incremental_ = true;
  }
  EnvValue server = product.GetValue(StorageKeys::kServer);
  if (server.type == EnvType::String) {
    server_ = std::move(server.text);
  }
  TAV_DEBUG("PI: (%s,%s,%s): %s, incremental: %d", name_.c_str(), version_.c_str(),
            platform_.c_str(), changed ? "changed" : "unchanged", incremental_);
  return changed;
}

// Of a product that the storage knows, and that the host set values for.
bool ProductInfo::CompareWithStorage(PersistentStorage* storage, const std::string& pendingOptOut) {
  if (CollectChanges(storage)) {
    return true;
  }
  TAV_DEBUG("PI: Checking pending opt-out. pendingOptOut = %s", pendingOptOut.c_str());
  if (optOut_ != "false" || pendingOptOut != "true") {
    return false;
  }
  Incremental()[kOptOutKey] = EnvValue::String("false");
  TAV_DEBUG("PI: changed (currently opt-in with a pending opt-out from previous session");
  return true;
}

bool ProductInfo::CollectChanges(PersistentStorage* storage) {
  const ProductEnvView stored(storage, name_, version_, platform_, false);
  if (stored.Size() == 0) {
    TAV_DEBUG("PI: Changed (PE in PS is empty)");
    return true;
  }
  incremental_ = true;
  TAV_DEBUG("PI: IsChanged: Collecting incremental changes...");
  bool changed = false;
  for (const auto& [key, value] : *fullEnv_) {
    if (!stored.VerifyValue(key, value)) {
      changed = true;
      TAV_DEBUG("PI: Changed (incremental). Key: %s, type: %d, text: %s, number: %f",
                key.c_str(), TypeNumber(value), value.text.c_str(), value.number);
      Incremental()[key] = value;
    }
  }
  return changed;
}

void ProductInfo::PersistToPS(PersistentStorage* storage) {
  TAV_TRACE("PI: persist info to PS (%s,%s,%s)", name_.c_str(), version_.c_str(),
            platform_.c_str());
  ProductView product(storage, name_, version_, platform_);
  product.SetValue(StorageKeys::kRegistered,
                   std::to_string(Platform::UnixMilliseconds() / kMillisecondsPerSecond));
  product.SetValue(StorageKeys::kServer, server_);
  if (!pendingCleared_) {
    product.SetValue(StorageKeys::kPendingOptOut, std::string());
    pendingCleared_ = true;
  }
  if (fullEnv_ != nullptr) {
    ProductEnvView stored(storage, name_, version_, platform_, false);
    stored.Clear();
    for (const auto& [key, value] : *fullEnv_) {
      TAV_TRACE("Product: persist to PS: key=%s, type: %d, text: %s, number: %f", key.c_str(),
                TypeNumber(value), value.text.c_str(), value.number);
      stored.SetValue(key, value);
    }
    incremental_ = true;
  }
  incEnv_.reset();
  serverChanged_ = false;
}

void ProductInfo::PersistPendingOptOut(PersistentStorage* storage) {
  ProductView product(storage, name_, version_, platform_);
  product.SetValue(StorageKeys::kPendingOptOut, optOut_);
  pendingCleared_ = false;
  TAV_DEBUG("PI: Persisted pending opt-out = '%s'", optOut_.c_str());
}

void ProductInfo::ClearPendingOptOut(PersistentStorage* storage) {
  ProductView product(storage, name_, version_, platform_);
  product.SetValue(StorageKeys::kPendingOptOut, std::string());
  pendingCleared_ = true;
  TAV_DEBUG("PI: Cleared pending opt-out status.");
}

void ProductInfo::RewriteStoredEnv() const {
  PersistentStorage storage;
  storage.Open(true);
  {
    ProductEnvView stored(&storage, name_, version_, platform_, false);
    stored.Clear();
    for (const auto& [key, value] : *fullEnv_) {
      TAV_TRACE("PI: persist to PS: key: %s, type: %d, text: %s, number: %f", key.c_str(),
                TypeNumber(value), value.text.c_str(), value.number);
      stored.SetValue(key, value);
    }
  }
  storage.CloseAndSave();
}

}  // namespace Tav
