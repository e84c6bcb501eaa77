#include "machine/client_wmi.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "util/format.h"
#include "util/logger.h"

namespace Tav {

namespace {

struct Category {
  std::string_view wmiClass;
  std::string_view labelPrefix;
  std::span<const WmiProperty> properties;
};

constexpr WmiProperty kComputerSystem[] = {
    {"NumberOfProcessors", "Number of Processors"},
    {"NumberOfLogicalProcessors", "Number of Logical Processors"},
    {"TotalPhysicalMemory", "Physical Memory", true},
};
constexpr WmiProperty kProcessors[] = {
    {"Manufacturer", "Manufacturer"},
    {"Name", "Name"},
    {"Description", "Description"},
    {"NumberOfCores", "Number of Cores"},
};
constexpr WmiProperty kDiskDrives[] = {
    {"Model", "Model"},
    {"Size", "Size", true},
    {"MediaType", "Media Type", false, "Removable Media"},
};
constexpr WmiProperty kVideoCards[] = {
    {"Name", "Name", false, "VNC Mirror Driver"},
    {"DriverVersion", "Driver Version"},
};

// By the number of the category.
constexpr Category kCategories[] = {
    {"Win32_ComputerSystem", "", kComputerSystem},
    {"Win32_Processor", "Processors.Processor", kProcessors},
    {"Win32_DiskDrive", "Disk Drives.Disk Drive", kDiskDrives},
    {"Win32_VideoController", "Video Cards.Video Card", kVideoCards},
};

const Category* FindCategory(WmiCategory category) {
  const auto number = static_cast<size_t>(category);
  return number < std::size(kCategories) ? &kCategories[number] : nullptr;
}

const WmiProperty* FindProperty(const WmiQuery& query, std::string_view name) {
  const auto found = std::find_if(query.properties.begin(), query.properties.end(),
                                  [&](const WmiProperty& each) { return each.name == name; });
  return found != query.properties.end() ? &*found : nullptr;
}

// The number at the beginning of the text, 0 when there is none.
double ToNumber(const std::string& text) {
  unsigned long long number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return static_cast<double>(number);
}

// The row's texts by label. Empty when the row is dropped.
ClientEnv ConvertRow(const WmiQuery& query, const WmiRow& row) {
  ClientEnv converted;
  for (const auto& [name, value] : row) {
    const WmiProperty* const property = FindProperty(query, name);
    if (!property || value.empty() || value == property->excluded ||
        (property->isSize && ToNumber(value) <= 0)) {
      return {};
    }
    converted[std::string(property->label)] =
        property->isSize ? FormatSize(ToNumber(value)) : value;
  }
  return converted;
}

}  // namespace

std::optional<WmiQuery> MakeWmiQuery(WmiCategory category) {
  const Category* const found = FindCategory(category);
  if (!found) {
    TAV_DEBUG("WMIQueryCategory not supported: %d", static_cast<int>(category));
    return std::nullopt;
  }
  std::string text = "SELECT ";
  for (const WmiProperty& property : found->properties) {
    text.append(property.name) += ',';
  }
  text.pop_back();
  text.append(" FROM ").append(found->wmiClass);
  return WmiQuery{category, std::move(text), found->properties, {}};
}

std::vector<WmiQuery> MakeWmiQueries() {
  std::vector<WmiQuery> queries;
  for (const WmiCategory category : {WmiCategory::VideoCards, WmiCategory::DiskDrives,
                                     WmiCategory::Processors, WmiCategory::ComputerSystem}) {
    if (std::optional<WmiQuery> query = MakeWmiQuery(category)) {
      queries.push_back(*std::move(query));
    }
  }
  return queries;
}

void AddWmiKeys(const WmiQuery& query, ClientEnv& env) {
  const Category* const category = FindCategory(query.category);
  if (!category) {
    TAV_DEBUG("Invalid query category: %d", static_cast<int>(query.category));
  }
  const std::string prefix(category ? category->labelPrefix : "");
  int number = 0;
  for (const WmiRow& row : query.rows) {
    const ClientEnv converted = ConvertRow(query, row);
    if (converted.empty()) {
      continue;
    }
    const std::string start =
        prefix.empty() ? std::string() : prefix + std::to_string(++number) + " ";
    for (const auto& [label, value] : converted) {
      env[start + label] = value;
    }
  }
}

bool IsWmiLabel(std::string_view label) {
  return std::any_of(std::begin(kCategories), std::end(kCategories), [&](const Category& each) {
    return each.labelPrefix.empty()
               ? std::any_of(each.properties.begin(), each.properties.end(),
                             [&](const WmiProperty& property) { return property.label == label; })
               : label.starts_with(each.labelPrefix);
  });
}

}  // namespace Tav
