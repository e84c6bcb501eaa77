// Holds the settings and the inhibit list of one product and version. Looks up settings, with the
// caller's defaults, and compares them with a new answer of the server. Session thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/settings.h"
#include "config/settings_table.h"
#include "model/product_identity.h"

namespace Tav {

class ConfigManager {
 public:
  explicit ConfigManager(ProductIdentity product, Settings settings = {})
      : product_(std::move(product)), settings_(std::move(settings)) {
    IndexInhibitList();
  }
  virtual ~ConfigManager() = default;
  ConfigManager(const ConfigManager&) = delete;
  ConfigManager& operator=(const ConfigManager&) = delete;

  // Empty for a setting that is a number.
  virtual std::string GetString(std::string_view name, std::string_view defaultValue) const;
  // 0 for a setting that is text.
  virtual int32_t GetNumber(std::string_view name, int32_t defaultValue) const;
  // Adds what the open storage holds to the manager's settings.
  virtual void LoadFromStorage(PersistentStorage* storage);
  // Adds what the server's answer holds to `settings`, which are the caller's own. False, and no
  // change, if it is not a JSON object.
  virtual bool ParseSettings(Settings& settings, std::string_view jsonText) const;
  // Whether the names, the values or the inhibit list of `settings` differ from the manager's.
  virtual bool IsChanged(const Settings& settings) const;
  // Replaces what the open storage holds by `settings`. The manager's own do not change.
  virtual void SaveToStorage(PersistentStorage* storage, const Settings& settings) const;
  virtual bool IsInhibited(std::string_view eventName) const;

  // A value out of the setting's range is replaced by the nearest in it, with a warning.
  int32_t GetNumberInRange(const NumberSetting& setting) const;
  // If `settings`, a new answer, name a gateway that must not be used (AcceptsGateway), puts the
  // manager's own in its place, if there is one.
  void RefuseGateway(Settings& settings, std::string_view gatewayInForce) const;

 private:
  void IndexInhibitList();
  size_t InhibitSlot(std::string_view name) const;

  const ProductIdentity product_;
  Settings settings_;
  // A hash table of the inhibit list: positions, counted from 1. 0 is a free slot; at least half of
  // the slots are free, and their number is a power of two.
  std::vector<size_t> inhibitSlots_;
};

}  // namespace Tav
