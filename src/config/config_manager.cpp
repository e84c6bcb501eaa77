#include "config/config_manager.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <optional>

#include "config/gateway_url.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Numbers are compared as they are used.
bool IsSameValue(const EnvValue& a, const EnvValue& b) {
  return a.type == b.type && a.text == b.text &&
         TruncateToInt32(a.number) == TruncateToInt32(b.number);
}

}  // namespace

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
  IndexInhibitList();
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
    const auto found = settings_.values.find(name);
    if (found == settings_.values.end() || !IsSameValue(value, found->second)) {
      return true;
    }
  }
  return settings.inhibitList != settings_.inhibitList;
}

void ConfigManager::SaveToStorage(PersistentStorage* storage, const Settings& settings) const {
  SaveSettings(storage, product_, settings);
}

bool ConfigManager::IsInhibited(std::string_view eventName) const {
  const size_t position = inhibitSlots_[InhibitSlot(eventName)];
  if (position == 0) {
    return false;
  }
  TAV_DEBUG("XM: Found '%s' in inhibit list", settings_.inhibitList[position - 1].c_str());
  return true;
}

int32_t ConfigManager::GetNumberInRange(const NumberSetting& setting) const {
  const int32_t value = GetNumber(setting.name, setting.defaultValue);
  const int32_t used = std::clamp(value, setting.min, setting.max);
  if (used != value) {
    LogWarning("XM: %s is out of range: %d. Using %d", setting.name, value, used);
  }
  return used;
}

void ConfigManager::RefuseGateway(Settings& settings, std::string_view gatewayInForce) const {
  const auto gateway = settings.values.find(Setting::kGateway);
  if (gateway == settings.values.end()) {
    return;
  }
  const EnvValue& value = gateway->second;
  const std::string url =
      value.type == EnvType::String ? value.text : std::to_string(TruncateToInt32(value.number));
  if (url.empty() || AcceptsGateway(url, gatewayInForce)) {
    return;
  }
  const auto own = settings_.values.find(Setting::kGateway);
  if (own == settings_.values.end()) {
    settings.values.erase(gateway);
  } else {
    gateway->second = own->second;
  }
}

void ConfigManager::IndexInhibitList() {
  const std::vector<std::string>& names = settings_.inhibitList;
  inhibitSlots_.assign(std::bit_ceil(2 * names.size() + 1), 0);
  for (size_t i = 0; i < names.size(); ++i) {
    inhibitSlots_[InhibitSlot(names[i])] = i + 1;
  }
}

// The slot that holds the name, else the free one that it would get.
size_t ConfigManager::InhibitSlot(std::string_view name) const {
  const size_t mask = inhibitSlots_.size() - 1;
  size_t slot = std::hash<std::string_view>()(name) & mask;
  while (inhibitSlots_[slot] != 0 && settings_.inhibitList[inhibitSlots_[slot] - 1] != name) {
    slot = (slot + 1) & mask;
  }
  return slot;
}

}  // namespace Tav
