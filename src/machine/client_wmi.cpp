#include "machine/client_wmi.h"

#include <algorithm>
#include <charconv>

#include "util/logger.h"
#include "util/text.h"

namespace Tav {

namespace {

// How often a wait for a row looks whether anybody still wants it.
constexpr int kNextMilliseconds = 250;

struct WmiCategory {
  std::string_view wmiClass;
  std::string_view keyPrefix;
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

// By number.
constexpr WmiCategory kCategories[] = {
    {"Win32_ComputerSystem", "", kComputerSystem},
    {"Win32_Processor", "Processors.Processor", kProcessors},
    {"Win32_DiskDrive", "Disk Drives.Disk Drive", kDiskDrives},
    {"Win32_VideoController", "Video Cards.Video Card", kVideoCards},
};

const WmiCategory* FindCategory(int number) {
  const bool known = number >= 0 && static_cast<size_t>(number) < std::size(kCategories);
  return known ? &kCategories[number] : nullptr;
}

const WmiProperty* FindProperty(const WmiQuery& query, std::string_view name) {
  const auto found = std::find_if(query.properties.begin(), query.properties.end(),
                                  [&](const WmiProperty& each) { return each.name == name; });
  return found != query.properties.end() ? &*found : nullptr;
}

bool OpenSource(Platform::WmiSource& source, DeferredLog& log) {
  using Platform::WmiStep;
  const Platform::WmiOpenResult result = source.Open();
  if (result.failedStep == WmiStep::None || result.failedStep == WmiStep::SetSecurity) {
    log.Add(LogLevel::Trace, "Successfully connected to ROOT\\CIMV2 WMI namespace");
  }
  switch (result.failedStep) {
    case WmiStep::None:
      return true;
    case WmiStep::Initialize:
      log.Add(LogLevel::Debug, "Failed to initialize COM library. Error code = %ld", result.status);
      break;
    case WmiStep::CreateLocator:
      log.Add(LogLevel::Debug, "Failed to create IWbemLocator object. Error code = %ld",
              result.status);
      break;
    case WmiStep::Connect:
      log.Add(LogLevel::Debug, "Could not connect. Error code = %ld", result.status);
      break;
    case WmiStep::SetSecurity:
      log.Add(LogLevel::Debug, "Could not set proxy blanket. Error code = %ld", result.status);
      break;
  }
  log.Add(LogLevel::Debug, "Failed to set up WMI via COM");
  return false;
}

std::string ReadValue(Platform::WmiSource& source, const std::string& property, DeferredLog& log) {
  log.Add(LogLevel::Trace, "Getting WMI value for field: %s", property.c_str());
  Platform::WmiValue value;
  if (source.Get(property, value) < 0) {
    log.Add(LogLevel::Debug, "Failed to get field value ");
    return {};
  }
  if (!value.supported) {
    log.Add(LogLevel::Debug, "Variant Type not supported: %d", value.type);
  }
  log.Add(LogLevel::Trace, "WMI field value: %s", value.text.c_str());
  return std::move(value.text);
}

WmiRow ReadRow(Platform::WmiSource& source, const WmiQuery& query, DeferredLog& log) {
  WmiRow row;
  for (const WmiProperty& property : query.properties) {
    std::string name(property.name);
    std::string value = ReadValue(source, name, log);
    if (!value.empty()) {
      row.emplace(std::move(name), std::move(value));
    }
  }
  return row;
}

// False when the query failed or nobody wants its answer any more.
bool RunWmiQuery(Platform::WmiSource& source,
                 WmiQuery& query,
                 const std::atomic<bool>& abandoned,
                 DeferredLog& log) {
  log.Add(LogLevel::Trace, "Executing query %s", query.text.c_str());
  const long status = source.Execute(query.text);
  if (status < 0) {
    log.Add(LogLevel::Debug, "Executed WMI query failed. Error code = %ld", status);
    return false;
  }
  for (;;) {
    log.Add(LogLevel::Trace, "Getting next WMI object...");
    Platform::WmiNextResult next;
    do {
      if (abandoned.load(std::memory_order_relaxed)) {
        return false;
      }
      next = source.Next(kNextMilliseconds);
    } while (next.timedOut);
    if (next.status < 0 || next.count == 0) {
      log.Add(LogLevel::Trace, "No more WMI data. Status code = %ld, num obj returned = %lu",
              next.status, next.count);
      return true;
    }
    log.Add(LogLevel::Trace, "Got WMI result object.");
    query.rows.push_back(ReadRow(source, query, log));
  }
}

// The number at the text's beginning; 0 when there is none.
double ToNumber(const std::string& text) {
  unsigned long long number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return static_cast<double>(number);
}

// The keys' last parts and their texts. Empty when the row is of no interest.
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

std::optional<WmiQuery> MakeWmiQuery(int category) {
  const WmiCategory* const found = FindCategory(category);
  if (!found) {
    TAV_DEBUG("WMIQueryCategory not supported: %d", category);
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
  for (const int category : {kWmiVideoCards, kWmiDiskDrives, kWmiProcessors, kWmiComputerSystem}) {
    if (std::optional<WmiQuery> query = MakeWmiQuery(category)) {
      queries.push_back(*std::move(query));
    }
  }
  return queries;
}

bool RunWmiQueries(Platform::WmiSource& source,
                   std::vector<WmiQuery>& queries,
                   const std::atomic<bool>& abandoned,
                   DeferredLog& log) {
  return OpenSource(source, log) && std::all_of(queries.begin(), queries.end(), [&](auto& query) {
           return RunWmiQuery(source, query, abandoned, log);
         });
}

void AddWmiKeys(const WmiQuery& query, ClientEnv& env) {
  const WmiCategory* const category = FindCategory(query.category);
  if (!category) {
    TAV_DEBUG("Invalid query category: %d", query.category);
  }
  const std::string prefix(category ? category->keyPrefix : "");
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

}  // namespace Tav
