#include "config/config_manager.h"

#include <limits>

#include "storage/storage_views.h"
#include "util/json.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr std::string_view kInhibitSetting = "inhibit";

// Toward zero. A conversion that does not fit would be undefined.
int32_t TruncateToInt32(double number) {
  constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();
  constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();
  if (number >= static_cast<double>(kHighest)) {
    return kHighest;
  }
  return number > static_cast<double>(kLowest) ? static_cast<int32_t>(number) : kLowest;
}

void AddInhibited(std::vector<std::string>& inhibitList, const json_t* value) {
  if (json_is_string(value)) {
    TAV_DEBUG("XM: adding inhibit of %s", json_string_value(value));
    inhibitList.emplace_back(JsonStringView(value));
  }
}

void ParseInhibited(std::vector<std::string>& inhibitList, const json_t* value) {
  AddInhibited(inhibitList, value);
  size_t index = 0;
  const json_t* element = nullptr;
  json_array_foreach(value, index, element) {
    AddInhibited(inhibitList, element);
  }
}

void ParseSetting(EnvMap& settings, const char* name, const json_t* value) {
  if (json_is_string(value)) {
    TAV_DEBUG("XM: setting %s to '%s'", name, json_string_value(value));
    settings[name] = EnvValue::String(std::string(JsonStringView(value)));
    return;
  }
  if (!json_is_number(value)) {
    LogWarning("Unsupported data type for '%s'", name);
    return;
  }
  const int32_t number = json_is_integer(value) ? static_cast<int32_t>(json_integer_value(value))
                                                : TruncateToInt32(json_real_value(value));
  TAV_DEBUG("XM: setting %s to %d", name, number);
  settings[name] = EnvValue::Number(number);
}

}  // namespace

std::string ConfigManager::GetString(std::string_view name, std::string_view defaultValue) const {
  const auto found = settings_.find(name);
  if (found == settings_.end()) {
    std::string value(defaultValue);
    TAV_DEBUG("Using default value for %s: %s", std::string(name).c_str(), value.c_str());
    return value;
  }
  TAV_DEBUG("Using server value for %s: %s", found->first.c_str(), found->second.strData.c_str());
  return found->second.strData;
}

int32_t ConfigManager::GetNumber(std::string_view name, int32_t defaultValue) const {
  const auto found = settings_.find(name);
  if (found == settings_.end()) {
    TAV_DEBUG("Using default value for %s: %d", std::string(name).c_str(), defaultValue);
    return defaultValue;
  }
  const int32_t value = TruncateToInt32(found->second.numData);
  TAV_DEBUG("Using server value for %s: %d", found->first.c_str(), value);
  return value;
}

void ConfigManager::LoadFromStorage(PersistentStorage* storage) {
  TAV_DEBUG("XM: Loading settings from PS");
  PersistentStorage::ProductEnvView stored(storage, productName_, productVersion_, environmentKey_,
                                           true);
  for (const std::string& name : stored.GetKeys()) {
    TAV_DEBUG("XM: loading setting for %s", name.c_str());
    EnvValue value = stored.GetValue(name);
    if (value.type != EnvType::None) {
      settings_[name] = std::move(value);
    }
  }
  const PersistentStorage::InhibitEventView inhibited(storage, productName_, productVersion_,
                                                      environmentKey_);
  for (size_t i = 0; i < inhibited.Size(); ++i) {
    inhibitList_.push_back(inhibited.Get(i));
  }
}

bool ConfigManager::ParseSettings(EnvMap& settings,
                                  std::vector<std::string>& inhibitList,
                                  std::string_view jsonText) const {
  TAV_DEBUG("XM: Parsing config settings");
  const JsonPtr root(json_loadb(jsonText.data(), jsonText.size(), JSON_REJECT_DUPLICATES, nullptr));
  if (!root) {
    LogWarning("Cannot parse json data from server");
    return false;
  }
  const char* name = nullptr;
  json_t* value = nullptr;
  json_object_foreach(root.Get(), name, value) {
    if (name == kInhibitSetting) {
      ParseInhibited(inhibitList, value);
    } else {
      ParseSetting(settings, name, value);
    }
  }
  return json_is_object(root.Get());
}

bool ConfigManager::IsChanged(const EnvMap& settings,
                              const std::vector<std::string>& inhibitList) const {
  if (settings.size() != settings_.size() || inhibitList.size() != inhibitList_.size()) {
    return true;
  }
  for (const auto& [name, value] : settings) {
    if (!settings_.contains(name)) {
      return true;
    }
  }
  return inhibitList != inhibitList_;
}

void ConfigManager::SaveToStorage(PersistentStorage* storage,
                                  const EnvMap& settings,
                                  const std::vector<std::string>& inhibitList) const {
  TAV_DEBUG("XM: Saving settings");
  PersistentStorage::ProductEnvView stored(storage, productName_, productVersion_, environmentKey_,
                                           true);
  stored.Clear();
  for (const auto& [name, value] : settings) {
    stored.SetValue(name, value);
  }
  PersistentStorage::InhibitEventView inhibited(storage, productName_, productVersion_,
                                                environmentKey_);
  inhibited.Clear();
  for (const std::string& name : inhibitList) {
    inhibited.Append(name);
  }
}

bool ConfigManager::IsInhibited(std::string_view eventName) const {
  for (const std::string& entry : inhibitList_) {
    if (entry == eventName) {
      TAV_DEBUG("XM: Found '%s' in inhibit list", entry.c_str());
      return true;
    }
  }
  return false;
}

}  // namespace Tav
