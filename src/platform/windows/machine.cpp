#include "platform/machine.h"

// Before windows.h, which otherwise declares what conflicts with iphlpapi.h.
#include <winsock2.h>

#include <windows.h>
// These need windows.h.
#include <iphlpapi.h>
#include <lmcons.h>

#include <cstdlib>
#include <new>

#include "platform/windows/system_library.h"
#include "platform/windows/wide_text.h"

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

constexpr int kMaxAdapterAttempts = 3;

AdapterList Failure(AdapterStep step, ULONG status) {
  return {{}, step, static_cast<uint32_t>(status)};
}

Adapter ToAdapter(const IP_ADAPTER_ADDRESSES& entry) {
  Adapter adapter;
  adapter.name = entry.AdapterName ? entry.AdapterName : "";
  adapter.friendlyName = entry.FriendlyName ? ToUtf8(entry.FriendlyName) : "";
  for (const wchar_t* unit = entry.Description; unit && *unit != L'\0'; ++unit) {
    adapter.description.push_back(static_cast<char16_t>(*unit));
  }
  adapter.address.assign(entry.PhysicalAddress,
                         entry.PhysicalAddress + entry.PhysicalAddressLength);
  return adapter;
}

AdapterList ToList(const IP_ADAPTER_ADDRESSES* first) {
  AdapterList list;
  for (const IP_ADAPTER_ADDRESSES* entry = first; entry; entry = entry->Next) {
    list.adapters.push_back(ToAdapter(*entry));
  }
  return list;
}

BOOL CALLBACK AddMonitor(HMONITOR, HDC, RECT* area, LPARAM argument) {
  auto& sizes = *reinterpret_cast<std::vector<MonitorSize>*>(argument);
  // Must not throw through the system's frames: the caller has reserved the memory.
  if (sizes.size() == sizes.capacity()) {
    return FALSE;
  }
  sizes.push_back({std::labs(area->right - area->left), std::labs(area->bottom - area->top)});
  return TRUE;
}

}  // namespace

// GetVersionEx reports an older version to programs whose manifest does not name the newest.
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
#pragma warning(suppress : 4996)  // deprecated, and the only choice without RtlGetVersion
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

std::string UserName() {
  decltype(GetUserNameA)* getUserName = nullptr;
  char name[UNLEN + 1];
  DWORD size = sizeof name;
  if (!FindSystemFunction(L"advapi32.dll", "GetUserNameA", getUserName) ||
      !getUserName(name, &size)) {
    return {};
  }
  return name;
}

AdapterList QueryAdapters() {
  decltype(GetAdaptersAddresses)* getAddresses = nullptr;
  if (!FindSystemFunction(L"iphlpapi.dll", "GetAdaptersAddresses", getAddresses)) {
    return Failure(AdapterStep::Size, GetLastError());
  }
  // An adapter added between the two calls makes the buffer too small.
  ULONG result = ERROR_BUFFER_OVERFLOW;
  for (int i = 0; i < kMaxAdapterAttempts && result == ERROR_BUFFER_OVERFLOW; ++i) {
    ULONG size = 0;
    result = getAddresses(AF_UNSPEC, 0, nullptr, nullptr, &size);
    if (result != ERROR_BUFFER_OVERFLOW) {
      return Failure(AdapterStep::Size, result);
    }
    std::vector<IP_ADAPTER_ADDRESSES> buffer(size / sizeof(IP_ADAPTER_ADDRESSES) + 1);
    result = getAddresses(AF_UNSPEC, 0, nullptr, buffer.data(), &size);
    if (result == NO_ERROR) {
      return ToList(buffer.data());
    }
  }
  return Failure(AdapterStep::List, result);
}

std::optional<Monitors> QueryMonitors() {
  static constexpr wchar_t kLibrary[] = L"user32.dll";
  // For monitors added before the enumeration.
  constexpr size_t kSpare = 16;
  decltype(GetSystemMetrics)* getMetrics = nullptr;
  decltype(EnumDisplayMonitors)* enumerate = nullptr;
  if (!FindSystemFunction(kLibrary, "GetSystemMetrics", getMetrics) ||
      !FindSystemFunction(kLibrary, "EnumDisplayMonitors", enumerate)) {
    return std::nullopt;
  }
  Monitors monitors;
  monitors.primaryWidth = getMetrics(SM_CXSCREEN);
  monitors.primaryHeight = getMetrics(SM_CYSCREEN);
  monitors.count = getMetrics(SM_CMONITORS);
  if (monitors.count > 1) {
    monitors.sizes.reserve(static_cast<size_t>(monitors.count) + kSpare);
    enumerate(nullptr, nullptr, AddMonitor, reinterpret_cast<LPARAM>(&monitors.sizes));
  }
  return monitors;
}

}  // namespace Tav::Platform
