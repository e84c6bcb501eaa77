#include "platform/machine.h"

#include <sys/utsname.h>

#include <cstdio>

namespace Tav::Platform {

// The kernel's, of which there is one only.
std::optional<OsVersion> QueryOsVersion() {
  utsname system{};
  OsVersion version{};
  if (uname(&system) != 0 ||
      std::sscanf(system.release, "%u.%u.%u", &version.major, &version.minor, &version.build) < 2) {
    return std::nullopt;
  }
  return version;
}

std::optional<OsVersion> QueryShownOsVersion() {
  return std::nullopt;
}

// The language of a process here is no property of the user.
std::optional<std::string> UserLanguage() {
  return std::nullopt;
}

std::optional<std::string> UserCountry() {
  return std::nullopt;
}

}  // namespace Tav::Platform
