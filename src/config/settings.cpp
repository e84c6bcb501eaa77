#include "config/settings.h"

#include <limits>
#include <utility>

#include "storage/storage_views.h"
#include "streams/json_stream.h"
#include "streams/memory_stream.h"
#include "util/json.h"
#include "util/logger.h"

namespace Tav {

namespace {

using Access = PersistentStorage::Access;
using ValuesView = PersistentStorage::ProductEnvView;
using InhibitView = PersistentStorage::InhibitEventView;

constexpr std::string_view kInhibitMember = "inhibit";

void AddInhibited(std::vector<std::string>& inhibitList, const json_t* value) {
  if (json_is_string(value)) {
    TAV_DEBUG("XM: adding inhibit of %s", json_string_value(value));
    inhibitList.emplace_back(JsonStringView(value));
  }
}

// A text or an array of texts; everything else is ignored.
void ParseInhibited(std::vector<std::string>& inhibitList, const json_t* value) {
  AddInhibited(inhibitList, value);
  size_t index = 0;
  const json_t* element = nullptr;
  json_array_foreach(value, index, element) {
    AddInhibited(inhibitList, element);
  }
}

void ParseValue(EnvMap& values, const char* name, const json_t* value) {
  if (json_is_string(value)) {
    TAV_DEBUG("XM: setting %s to '%s'", name, json_string_value(value));
    values[name] = EnvValue::String(std::string(JsonStringView(value)));
    return;
  }
  if (!json_is_number(value)) {
    LogWarning("Unsupported data type for '%s'", name);
    return;
  }
  const int32_t number = json_is_integer(value) ? static_cast<int32_t>(json_integer_value(value))
                                                : TruncateToInt32(json_real_value(value));
  TAV_DEBUG("XM: setting %s to %d", name, number);
  values[name] = EnvValue::Number(number);
}

}  // namespace

void MergeSettings(Settings& settings, Settings other) {
  other.values.merge(settings.values);
  settings.values = std::move(other.values);
  for (std::string& name : other.inhibitList) {
    settings.inhibitList.push_back(std::move(name));
  }
}

std::optional<Settings> ParseSettings(std::string_view jsonText) {
  TAV_DEBUG("XM: Parsing config settings");
  MemoryInputStream text(jsonText.data(), jsonText.size());
  JsonInputStream json(&text);
  const JsonPtr root = json.ReadValue();
  if (!root) {
    LogWarning("Cannot parse json data from server");
    return std::nullopt;
  }
  if (!json_is_object(root.Get())) {
    return std::nullopt;
  }
  Settings settings;
  const char* name = nullptr;
  json_t* value = nullptr;
  json_object_foreach(root.Get(), name, value) {
    if (name == kInhibitMember) {
      ParseInhibited(settings.inhibitList, value);
    } else {
      ParseValue(settings.values, name, value);
    }
  }
  return settings;
}

Settings LoadSettings(PersistentStorage* storage, const ProductIdentity& product) {
  TAV_DEBUG("XM: Loading settings from PS");
  Settings settings;
  const ValuesView values(storage, product, ValuesView::Section::Settings, Access::Read);
  for (const std::string& name : values.GetKeys()) {
    TAV_DEBUG("XM: loading setting for %s", name.c_str());
    EnvValue value = values.GetValue(name);
    if (value.type != EnvType::None) {
      settings.values[name] = std::move(value);
    }
  }
  const InhibitView inhibited(storage, product, Access::Read);
  for (size_t i = 0; i < inhibited.Size(); ++i) {
    settings.inhibitList.push_back(inhibited.Get(i));
  }
  return settings;
}

void SaveSettings(PersistentStorage* storage,
                  const ProductIdentity& product,
                  const Settings& settings) {
  TAV_DEBUG("XM: Saving settings");
  ValuesView values(storage, product, ValuesView::Section::Settings, Access::Update);
  values.Clear();
  for (const auto& [name, value] : settings.values) {
    values.SetValue(name, value);
  }
  InhibitView inhibited(storage, product, Access::Update);
  inhibited.Clear();
  for (const std::string& name : settings.inhibitList) {
    inhibited.Append(name);
  }
}

int32_t TruncateToInt32(double number) {
  constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  // A conversion that does not fit would be undefined.
  if (number >= static_cast<double>(kMax)) {
    return kMax;
  }
  return number > static_cast<double>(kMin) ? static_cast<int32_t>(number) : kMin;
}

}  // namespace Tav
