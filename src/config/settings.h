// The settings of one product and version: parsed from the configuration server's answer, loaded
// from the storage and saved there. docs/settings.md lists them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/env_value.h"
#include "model/product_identity.h"

namespace Tav {

class PersistentStorage;

struct Settings {
  EnvMap values;                         // by the setting's name; text or number
  std::vector<std::string> inhibitList;  // names of events that must not be sent, as received
};

// Adds `other` to `settings`. A value in `other` replaces one of the same name.
void MergeSettings(Settings& settings, Settings other);

// The settings in a server's answer; none if it is not a JSON object or nests deeper than 64
// levels. A member that is neither text nor number is logged and left out, as are the names in an
// inhibit list after the first 10,000.
std::optional<Settings> ParseSettings(std::string_view jsonText);

// What the open storage holds for the product. A member that is neither text nor number is left
// out.
Settings LoadSettings(PersistentStorage* storage, const ProductIdentity& product);

// Replaces what the open storage holds for the product.
void SaveSettings(PersistentStorage* storage,
                  const ProductIdentity& product,
                  const Settings& settings);

// Truncates toward zero. A number out of range becomes the nearest value.
int32_t TruncateToInt32(double number);

}  // namespace Tav
