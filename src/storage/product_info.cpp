#include "storage/product_info.h"

#include <utility>

#include "storage/product_env_update.h"
#include "util/json.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr char kPlatformCode[] = "wntx64";

int TypeNumber(const EnvValue& value) {
  return static_cast<int>(value.type);
}

void TraceEntries(const EnvMap& entries) {
  for (const auto& [key, value] : entries) {
    TAV_DEBUG("    key: %s, type: %d, text: %s, number: %f", key.c_str(), TypeNumber(value),
              value.text.c_str(), value.number);
  }
}

bool Find(const EnvMap* map, std::string_view key, EnvValue& value) {
  const bool found = map != nullptr && map->contains(key);
  value = found ? map->find(key)->second : EnvValue();
  return found;
}

}  // namespace

ProductInfo::ProductInfo(std::string name, std::string version, const PendingProductValues* values)
    : name_(std::move(name)),
      version_(std::move(version)),
      platform_(kPlatformCode),
      optOut_("false") {
  if (values != nullptr) {
    fullEnv_ = std::make_unique<EnvMap>();
    for (const auto& [key, pending] : *values) {
      if (pending.payload) {
        EnvChanges changes;
        UpdateListOrMap(key, pending.isMap, *fullEnv_, pending.payload.Get(), changes);
      } else {
        (*fullEnv_)[key] = pending.value;
      }
    }
  }
  EnvValue optOut;
  if (Find(fullEnv_.get(), kOptOutKey, optOut) && optOut.type == EnvType::String) {
    optOut_ = optOut.text;
  }
}

void ProductInfo::SetServer(std::string url) {
  server_ = std::move(url);
  serverChanged_ = true;
  incEnv_.reset();
}

bool ProductInfo::FindEnvValue(std::string_view key, EnvValue& value) const {
  return Find(fullEnv_.get(), key, value);
}

const EnvMap* ProductInfo::GetEnvData(bool& isIncremental) const {
  TAV_DEBUG("PI: GetEnvData. Current OptOut: %s, Incremental: %d, serverChanged: %d",
            optOut_.c_str(), incremental_, serverChanged_);
  if (serverChanged_) {
    TAV_DEBUG("PI: Get full PE because of server changed.");
    isIncremental = false;
    return fullEnv_.get();
  }
  isIncremental = incremental_;
  if (incremental_) {
    if (incEnv_ != nullptr) {
      TAV_DEBUG("PI: Get incremental PE.");
      TraceEntries(*incEnv_);
    }
    return incEnv_.get();
  }
  TAV_DEBUG("PI: Get full PE.");
  if (fullEnv_ != nullptr) {
    TraceEntries(*fullEnv_);
  }
  return fullEnv_.get();
}

EnvMap& ProductInfo::Full() {
  if (fullEnv_ == nullptr) {
    fullEnv_ = std::make_unique<EnvMap>();
  }
  return *fullEnv_;
}

EnvMap& ProductInfo::Incremental() {
  if (incEnv_ == nullptr) {
    incEnv_ = std::make_unique<EnvMap>();
  }
  return *incEnv_;
}

bool ProductInfo::UpdateProductEnv(std::string_view key, const json_t* value, bool isMap) {
  const std::string keyText(key);
  TAV_DEBUG("PI: UpdateProductEnv. Key: %s, isMap: %d", keyText.c_str(), isMap);
  if (!json_is_object(value)) {
    return UpdateSingleValue(keyText, value);
  }
  EnvChanges changes;
  changes.afterInit = true;
  changes.incremental = incremental_ ? &Incremental() : nullptr;
  const bool changed = UpdateListOrMap(key, isMap, Full(), value, changes);
  if (changed && incEnv_ != nullptr) {
    for (const auto& [name, entry] : *incEnv_) {
      TAV_DEBUG("PI: UpdateProductEnv. key: %s, type: %d, text: %s, number: %f", name.c_str(),
                TypeNumber(entry), entry.text.c_str(), entry.number);
    }
  } else if (changed) {
    TAV_DEBUG("PI: UpdateProductEnv didn't get inc. pe");
  }
  if (changes.erased) {
    RewriteStoredEnv();
  }
  return changed;
}

bool ProductInfo::UpdateSingleValue(const std::string& key, const json_t* value) {
  EnvMap& full = Full();
  const auto stored = full.find(key);
  if (stored != full.end() && EqualsJson(stored->second, value)) {
    TAV_DEBUG("PI: UpdateProductEnv (simple k/v). NOT changed.");
    return false;
  }
  full[key] = ToEnvValue(value);
  if (incremental_) {
    Incremental()[key] = ToEnvValue(value);
    TAV_DEBUG("PI: UpdateProductEnv. Added '%s' to incremental list.", key.c_str());
  }
  TAV_DEBUG("PI: UpdateProductEnv (simple k/v). Changed.");
  return true;
}

}  // namespace Tav
