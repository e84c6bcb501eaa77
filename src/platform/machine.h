// What the machine and its operating system say about themselves. Plain readings; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

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

}  // namespace Tav::Platform
