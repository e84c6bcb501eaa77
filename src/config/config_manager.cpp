#include "config/config_manager.h"

#include "util/logger.h"

namespace Tav {

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
  const auto value = static_cast<int32_t>(found->second.numData);
  TAV_DEBUG("Using server value for %s: %d", found->first.c_str(), value);
  return value;
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
