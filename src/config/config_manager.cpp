#include "config/config_manager.h"

#include <optional>

#include "util/logger.h"

namespace Tav {

std::string ConfigManager::GetString(std::string_view name, std::string_view defaultValue) const {
  const auto found = settings_.values.find(name);
  if (found == settings_.values.end()) {
    std::string value(defaultValue);
    TAV_DEBUG("Using default value for %s: %s", std::string(name).c_str(), value.c_str());
    return value;
  }
  TAV_DEBUG("Using server value for %s: %s", found->first.c_str(), found->second.text.c_str());
  return found->second.text;
}

int32_t ConfigManager::GetNumber(std::string_view name, int32_t defaultValue) const {
  const auto found = settings_.values.find(name);
  if (found == settings_.values.end()) {
    TAV_DEBUG("Using default value for %s: %d", std::string(name).c_str(), defaultValue);
    return defaultValue;
  }
  const int32_t value = TruncateToInt32(found->second.number);
  TAV_DEBUG("Using server value for %s: %d", found->first.c_str(), value);
  return value;
}

void ConfigManager::LoadFromStorage(PersistentStorage* storage) {
  MergeSettings(settings_, LoadSettings(storage, product_));
}

bool ConfigManager::ParseSettings(Settings& settings, std::string_view jsonText) const {
  std::optional<Settings> parsed = Tav::ParseSettings(jsonText);
  if (!parsed) {
    return false;
  }
  MergeSettings(settings, *std::move(parsed));
  return true;
}

bool ConfigManager::IsChanged(const Settings& settings) const {
  if (settings.values.size() != settings_.values.size()) {
    return true;
  }
  for (const auto& [name, value] : settings.values) {
    if (!settings_.values.contains(name)) {
      return true;
    }
  }
  return settings.inhibitList != settings_.inhibitList;
}

void ConfigManager::SaveToStorage(PersistentStorage* storage, const Settings& settings) const {
  SaveSettings(storage, product_, settings);
}

bool ConfigManager::IsInhibited(std::string_view eventName) const {
  for (const std::string& entry : settings_.inhibitList) {
    if (entry == eventName) {
      TAV_DEBUG("XM: Found '%s' in inhibit list", entry.c_str());
      return true;
    }
  }
  return false;
}

}  // namespace Tav
