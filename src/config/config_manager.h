// The settings that the configuration server sent, with the reader's defaults for what it did not,
// and its list of event names that must not be sent. Used by the session thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "model/env_value.h"

namespace Tav {

// Until settings are fetched and stored, every look-up yields the reader's default.
class ConfigManager {
 public:
  std::string GetString(std::string_view name, std::string_view defaultValue) const;
  // A setting that arrived as text yields 0.
  int32_t GetNumber(std::string_view name, int32_t defaultValue) const;
  bool IsInhibited(std::string_view eventName) const;

 private:
  EnvMap settings_;
  std::vector<std::string> inhibitList_;
};

}  // namespace Tav
