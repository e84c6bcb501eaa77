// The machine: operating system, user, processor, network adapters and monitors. Any thread.
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

// The real version. If the system does not offer it: empty, with the reason in LastError.
std::optional<OsVersion> QueryOsVersion();
// The version that the system reports to this program, which may be an older one.
std::optional<OsVersion> QueryShownOsVersion();

// The ISO 639 name of the user's language ("en") and the ISO 3166 name of the user's country
// ("US").
std::optional<std::string> UserLanguage();
std::optional<std::string> UserCountry();

// In the system's narrow character set; empty if unknown.
std::string UserName();

// True if the processor reports that it runs under a hypervisor. False if it cannot tell.
bool HypervisorPresent();

struct Adapter {
  std::string name;              // the system's name
  std::string friendlyName;      // the user's name, UTF-8; may be empty
  std::u16string description;    // the manufacturer's
  std::vector<uint8_t> address;  // the hardware address; empty if there is none
};

// The step that failed.
enum class AdapterStep { None, Size, List };

struct AdapterList {
  std::vector<Adapter> adapters;  // in the system's order; empty after a failure
  AdapterStep failedStep = AdapterStep::None;
  uint32_t status = 0;  // the system error of the failed step
};

// Usually takes milliseconds.
AdapterList QueryAdapters();

// Pixels, as the process sees them.
struct MonitorSize {
  long width;
  long height;
};

struct Monitors {
  int count = 0;
  // The primary monitor; zero if unknown.
  int primaryWidth = 0;
  int primaryHeight = 0;
  // In the system's order; empty unless there are several monitors.
  std::vector<MonitorSize> sizes;
};

// Empty on systems without monitors.
std::optional<Monitors> QueryMonitors();

}  // namespace Tav::Platform
