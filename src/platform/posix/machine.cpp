#include "platform/machine.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netpacket/packet.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>

namespace Tav::Platform {

namespace {

struct FreeAddresses {
  void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

bool HasHardwareAddress(const ifaddrs& entry) {
  return entry.ifa_addr && entry.ifa_addr->sa_family == AF_PACKET &&
         (entry.ifa_flags & IFF_LOOPBACK) == 0;
}

}  // namespace

// The kernel's version.
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

// A process has a language here, a user has none.
std::optional<std::string> UserLanguage() {
  return std::nullopt;
}

std::optional<std::string> UserCountry() {
  return std::nullopt;
}

std::string UserName() {
  passwd entry{};
  passwd* found = nullptr;
  char buffer[4096];
  if (getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found) != 0 || !found) {
    return {};
  }
  return found->pw_name;
}

AdapterList QueryAdapters() {
  AdapterList list;
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) {
    list.failedStep = AdapterStep::List;
    list.status = static_cast<uint32_t>(errno);
    return list;
  }
  const std::unique_ptr<ifaddrs, FreeAddresses> owner(first);
  for (const ifaddrs* entry = first; entry; entry = entry->ifa_next) {
    if (!HasHardwareAddress(*entry)) {
      continue;
    }
    const auto& link = *reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr);
    Adapter& adapter = list.adapters.emplace_back();
    adapter.name = entry->ifa_name;
    adapter.description.assign(adapter.name.begin(), adapter.name.end());
    adapter.address.assign(link.sll_addr, link.sll_addr + link.sll_halen);
  }
  return list;
}

std::optional<Monitors> QueryMonitors() {
  return std::nullopt;
}

}  // namespace Tav::Platform
