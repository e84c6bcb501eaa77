// Included first: without it windows.h brings declarations that exclude those of iphlpapi.h.
#include <winsock2.h>

#include <windows.h>
// After windows.h, which defines what these build on.
#include <iphlpapi.h>
#include <lmcons.h>

#include <new>

#include "platform/adapters.h"
#include "platform/windows/system_library.h"
#include "platform/windows/wide_text.h"

namespace Tav::Platform {

namespace {

constexpr int kAttempts = 3;

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

}  // namespace

AdapterList QueryAdapters() {
  decltype(GetAdaptersAddresses)* getAddresses = nullptr;
  if (!FindSystemFunction(L"iphlpapi.dll", "GetAdaptersAddresses", getAddresses)) {
    return Failure(AdapterStep::Size, GetLastError());
  }
  // An adapter that comes between the two calls makes the room too small.
  ULONG result = ERROR_BUFFER_OVERFLOW;
  for (int i = 0; i < kAttempts && result == ERROR_BUFFER_OVERFLOW; ++i) {
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

}  // namespace Tav::Platform
