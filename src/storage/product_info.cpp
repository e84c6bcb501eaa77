#include "storage/product_info.h"

#include <utility>

#include "util/json.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr char kPlatformCode[] = "wntx64";
constexpr std::string_view kOptOutKey = "std-OptOut";

EnvValue FromJson(const json_t* value) {
  if (json_is_string(value)) {
    return EnvValue::String(std::string(JsonStringView(value)));
  }
  return json_is_number(value) ? EnvValue::Number(json_number_value(value)) : EnvValue();
}

// Strings equal byte for byte, reals nearly equal; a JSON integer never equals.
bool Equals(const EnvValue& stored, const json_t* value) {
  if (stored.type == EnvType::String) {
    return json_is_string(value) && JsonStringView(value) == stored.strData;
  }
  return json_is_real(value) && stored.type == EnvType::Number &&
         NearlyEqual(json_real_value(value), stored.numData);
}

int TypeNumber(const EnvValue& value) {
  return static_cast<int>(value.type);
}

}  // namespace

ProductInfo::ProductInfo(std::string name, std::string version, const PendingProductValues* values)
    : name_(std::move(name)),
      version_(std::move(version)),
      platform_(kPlatformCode),
      optOut_("false") {
  if (values != nullptr) {
    for (const auto& [key, pending] : *values) {
      if (pending.payload) {
        EnvChanges changes;
        UpdateListOrMap(key, pending.isMap, fullEnv_, pending.payload.Get(), changes);
      } else {
        fullEnv_[key] = pending.value;
      }
    }
  }
  EnvValue optOut;
  if (FindEnvValue(kOptOutKey, optOut) && optOut.type == EnvType::String) {
    optOut_ = optOut.strData;
  }
}

void ProductInfo::SetServer(std::string url) {
  server_ = std::move(url);
  serverChanged_ = true;
  incEnv_.reset();
}

bool ProductInfo::FindEnvValue(std::string_view key, EnvValue& value) const {
  const auto found = fullEnv_.find(key);
  value = found == fullEnv_.end() ? EnvValue() : found->second;
  return found != fullEnv_.end();
}

bool ProductInfo::IsChanged() {
  TAV_DEBUG("PI: Changed (not registered)");
  if (!incremental_ && optOut_ == "true") {
    Incremental()[std::string(kOptOutKey)] = EnvValue::String("true");
    incremental_ = true;
  }
  TAV_DEBUG("PI: (%s,%s,%s): %s, incremental: %d", name_.c_str(), version_.c_str(),
            platform_.c_str(), "changed", incremental_);
  return true;
}

const EnvMap* ProductInfo::GetEnvData(bool& isIncremental) const {
  TAV_DEBUG("PI: GetEnvData. Current OptOut: %s, Incremental: %d, serverChanged: %d",
            optOut_.c_str(), incremental_, serverChanged_);
  if (serverChanged_) {
    TAV_DEBUG("PI: Get full PE because of server changed.");
    isIncremental = false;
    return &fullEnv_;
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
  TraceEntries(fullEnv_);
  return &fullEnv_;
}

void ProductInfo::TraceEntries(const EnvMap& entries) const {
  for (const auto& [key, value] : entries) {
    TAV_DEBUG("    key: %s, type: %d, strData: %s, numData: %f", key.c_str(), TypeNumber(value),
              value.strData.c_str(), value.numData);
  }
}

void ProductInfo::OnSent() {
  incremental_ = true;
  incEnv_.reset();
  serverChanged_ = false;
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
    const auto stored = fullEnv_.find(key);
    if (stored != fullEnv_.end() && Equals(stored->second, value)) {
      TAV_DEBUG("PI: UpdateProductEnv (simple k/v). NOT changed.");
      return false;
    }
    fullEnv_[keyText] = FromJson(value);
    if (incremental_) {
      Incremental()[keyText] = FromJson(value);
      TAV_DEBUG("PI: UpdateProductEnv. Added '%s' to incremental list.", keyText.c_str());
    }
    TAV_DEBUG("PI: UpdateProductEnv (simple k/v). Changed.");
    return true;
  }
  EnvChanges changes;
  changes.afterInit = true;
  changes.incremental = incremental_ ? &Incremental() : nullptr;
  const bool changed = UpdateListOrMap(key, isMap, fullEnv_, value, changes);
  if (changed && incEnv_ != nullptr) {
    for (const auto& [name, entry] : *incEnv_) {
      TAV_DEBUG("PI: UpdateProductEnv. key: %s, type: %d, strData: %s, numData: %f", name.c_str(),
                TypeNumber(entry), entry.strData.c_str(), entry.numData);
    }
  } else if (changed) {
    TAV_DEBUG("PI: UpdateProductEnv didn't get inc. pe");
  }
  return changed;
}

bool UpdateListOrMap(std::string_view key,
                     bool isMap,
                     EnvMap& map,
                     const json_t* object,
                     EnvChanges& changes) {
  const std::string keyText(key);
  changes.erased = false;
  TAV_DEBUG("PI: UpdateListOrMap. key: '%s', isMap: %d", keyText.c_str(), isMap);
  std::vector<std::string> current;
  for (const auto& [name, value] : map) {
    TAV_TRACE("PI: UpdateListOrMap. s = '%s', keyLen = %d,", name.c_str(),
              static_cast<int>(key.size()));
    if (name.size() > key.size() && name.starts_with(key) &&
        (name[key.size()] == '.' || name[key.size()] == ':')) {
      current.push_back(name);
      TAV_DEBUG("PI: UpdateListOrMap. Added %s to currKey", name.c_str());
    }
  }
  TAV_DEBUG("PI: UpdateListOrMap. key: '%s', isMap: %d, afterInit: %d, incrementalMode: %d",
            keyText.c_str(), isMap, changes.afterInit, changes.incremental != nullptr);
  if (current.size() != json_object_size(object)) {
    TAV_DEBUG("Sizes differ");
  }
  bool removed = false;
  for (const std::string& name : current) {
    if (json_object_get(object, name.c_str() + key.size() + 1) == nullptr) {
      TAV_DEBUG("PI: Erasing %s", name.c_str());
      map.erase(name);
      removed = true;
      if (changes.afterInit && changes.incremental != nullptr) {
        changes.incremental->erase(name);
      }
    }
  }
  bool changed = false;
  const char* member = nullptr;
  json_t* value = nullptr;
  json_object_foreach(const_cast<json_t*>(object), member, value) {
    const std::string full = keyText + (isMap ? '.' : ':') + member;
    const auto stored = map.find(full);
    if (stored != map.end() && Equals(stored->second, value)) {
      continue;
    }
    TAV_DEBUG("PI: Entering %s", full.c_str());
    map[full] = FromJson(value);
    changed = true;
    if (changes.afterInit && changes.incremental != nullptr) {
      (*changes.incremental)[full] = FromJson(value);
    }
  }
  changes.erased = !changed && changes.afterInit && removed;
  return changed;
}

}  // namespace Tav
