// The machine: operating system, network adapters, user, monitors. Plain readings; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Tav::Platform {

struct OsVersion {
  uint32_t major;
  uint32_t minor;
  uint32_t build;
};

// The version as it is. Empty, with the reason in LastError, when the system does not offer it.
std::optional<OsVersion> QueryOsVersion();
// The version that the system shows to this program, which may be an older one. Empty when it is
// not told.
std::optional<OsVersion> QueryShownOsVersion();

// ISO 639 name of the user's language ("en"), ISO 3166 name of the user's country ("US"). Empty
// when the system does not tell.
std::optional<std::string> UserLanguage();
std::optional<std::string> UserCountry();

// Whether the processor says that it is a virtual one. False on processors that cannot say so.
bool HypervisorPresent();

struct Adapter {
  std::string name;              // the system's own
  std::string friendlyName;      // what its owner calls it, UTF-8; empty when nobody named it
  std::u16string description;    // what its maker calls it
  std::vector<uint8_t> address;  // its hardware address, empty when it has none
};

// Steps of asking for the adapters, so that a failure can be named.
enum class AdapterStep { None, Size, List };

struct AdapterList {
  std::vector<Adapter> adapters;  // in the system's order; none after a failure
  AdapterStep failedStep = AdapterStep::None;
  uint32_t status = 0;  // that step's system error
};

// Any thread. Asks the system's network service: milliseconds as a rule.
AdapterList QueryAdapters();

// In the system's narrow character set; empty when the system does not tell.
std::string UserName();

// In pixels, as the host sees them.
struct MonitorSize {
  long width;
  long height;
};

struct Monitors {
  int count = 0;
  // Of the primary one; zero when the system does not tell.
  int primaryWidth = 0;
  int primaryHeight = 0;
  // In the system's order; asked for only when there are several.
  std::vector<MonitorSize> sizes;
};

// Any thread. Empty where the system has no notion of monitors.
std::optional<Monitors> QueryMonitors();

}  // namespace Tav::Platform
