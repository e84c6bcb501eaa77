// The settings that the configuration server sent for one product and version, with the reader's
// defaults for what it did not send, and its list of event names that must not be sent.
// docs/settings.md lists the settings. Used by the session thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/env_value.h"

namespace Tav {

class PersistentStorage;

class ConfigManager {
 public:
  // Knows no product: there is nothing to load, and every look-up yields the reader's default.
  ConfigManager() = default;
  // `environmentKey` is the third part of the product's identity in the storage, its platform.
  ConfigManager(std::string productName, std::string productVersion, std::string environmentKey)
      : productName_(std::move(productName)),
        productVersion_(std::move(productVersion)),
        environmentKey_(std::move(environmentKey)) {}
  virtual ~ConfigManager() = default;
  ConfigManager(const ConfigManager&) = delete;
  ConfigManager& operator=(const ConfigManager&) = delete;

  // Empty for a setting that arrived as a number.
  virtual std::string GetString(std::string_view name, std::string_view defaultValue) const;
  // 0 for a setting that arrived as text. What a 32-bit integer cannot hold becomes its nearest
  // value.
  virtual int32_t GetNumber(std::string_view name, int32_t defaultValue) const;
  // Adds what the open storage holds to the settings and the list. A stored value that is neither
  // text nor number counts as not sent.
  virtual void LoadFromStorage(PersistentStorage* storage);
  // Adds what the server's answer says to the collections, which are the caller's own. False when
  // it is no JSON object: then neither has changed, and no settings have come.
  virtual bool ParseSettings(EnvMap& settings,
                             std::vector<std::string>& inhibitList,
                             std::string_view jsonText) const;
  // Whether the pair differs from the manager's own. Of settings only the names are compared: other
  // values under the same names are no change.
  virtual bool IsChanged(const EnvMap& settings, const std::vector<std::string>& inhibitList) const;
  // Replaces what the open storage holds by the pair; the manager's own stay as they are.
  virtual void SaveToStorage(PersistentStorage* storage,
                             const EnvMap& settings,
                             const std::vector<std::string>& inhibitList) const;
  virtual bool IsInhibited(std::string_view eventName) const;

  // The pair becomes the manager's own.
  void Replace(EnvMap settings, std::vector<std::string> inhibitList) {
    settings_ = std::move(settings);
    inhibitList_ = std::move(inhibitList);
  }

 private:
  std::string productName_;
  std::string productVersion_;
  std::string environmentKey_;
  EnvMap settings_;
  std::vector<std::string> inhibitList_;
};

}  // namespace Tav
