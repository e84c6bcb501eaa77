#include "platform/machine.h"

#include <windows.h>

namespace Tav::Platform {

namespace {

using RtlGetVersionFunction = LONG(WINAPI*)(OSVERSIONINFOW*);

std::optional<std::string> UserLocale(LCTYPE type) {
  char text[16];
  if (GetLocaleInfoA(LOCALE_USER_DEFAULT, type, text, sizeof text) == 0) {
    return std::nullopt;
  }
  return text;
}

}  // namespace

// GetVersionEx shows an older version to programs whose manifest does not name the newest.
std::optional<OsVersion> QueryOsVersion() {
  const HMODULE system = GetModuleHandleW(L"ntdll.dll");
  const auto getVersion =
      system ? reinterpret_cast<RtlGetVersionFunction>(
                   reinterpret_cast<void (*)()>(GetProcAddress(system, "RtlGetVersion")))
             : nullptr;
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (!getVersion || getVersion(&version) != 0) {
    return std::nullopt;
  }
  return OsVersion{version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber};
}

std::optional<OsVersion> QueryShownOsVersion() {
  OSVERSIONINFOA version{};
  version.dwOSVersionInfoSize = sizeof version;
#if defined(_MSC_VER)
#pragma warning(suppress : 4996)  // declared deprecated, but all there is without RtlGetVersion
#endif
  if (!GetVersionExA(&version)) {
    return std::nullopt;
  }
  return OsVersion{version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber};
}

std::optional<std::string> UserLanguage() {
  return UserLocale(LOCALE_SISO639LANGNAME);
}

std::optional<std::string> UserCountry() {
  return UserLocale(LOCALE_SISO3166CTRYNAME);
}

}  // namespace Tav::Platform
