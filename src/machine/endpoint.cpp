#include "machine/endpoint.h"

#include <algorithm>
#include <string_view>

#include "platform/error.h"
#include "storage/storage_views.h"
#include "util/format.h"
#include "util/hash.h"
#include "util/log_text.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr char kEndpointKey[] = "Endpoint";
constexpr std::string_view kMarker = "02X";
constexpr size_t kAddressLength = 6;
constexpr std::string_view kExcludedWords[] = {"Bluetooth", "VirtualBox", "VMware", "Infrared",
                                               "IrDA",      "Virtual",    "VPN"};

// Keeps the low byte of each unit, which is enough to find the excluded words.
std::string Narrow(const std::u16string& text) {
  std::string narrow;
  narrow.reserve(text.size());
  for (const char16_t unit : text) {
    narrow.push_back(static_cast<char>(unit & 0xFF));
  }
  return narrow;
}

bool IsEligible(const Platform::Adapter& adapter) {
  const std::string description = Narrow(adapter.description);
  return adapter.address.size() == kAddressLength &&
         std::none_of(std::begin(kExcludedWords), std::end(kExcludedWords),
                      [&](auto word) { return description.find(word) != std::string::npos; });
}

std::string AddressText(const std::vector<uint8_t>& address) {
  return HexText(address.data(), address.size(), HexCase::Upper);
}

std::string GetMacAddress() {
  const Platform::AdapterList list = Platform::QueryAdapters();
  switch (list.failedStep) {
    case Platform::AdapterStep::None:
      break;
    case Platform::AdapterStep::Size:
      Platform::SetLastError(list.status);
      LogError("$EP: Cannot get size of adapter info");
      break;
    case Platform::AdapterStep::List:
      Platform::SetLastError(list.status);
      LogError("$EP: Cannot get adapter info");
      break;
  }
  return ChooseHardwareAddress(list.adapters);
}

}  // namespace

std::string ChooseHardwareAddress(const std::vector<Platform::Adapter>& adapters) {
  std::string smallest;
  for (const Platform::Adapter& adapter : adapters) {
    TAV_TRACE("Checking adapter %s", Masked(adapter.name).Text());
    if (!adapter.friendlyName.empty()) {
      TAV_TRACE("Adapter name is %s", Masked(adapter.friendlyName).Text());
    }
    if (!IsEligible(adapter)) {
      continue;
    }
    std::string address = AddressText(adapter.address);
    if (smallest.empty() || address < smallest) {
      smallest = std::move(address);
    }
  }
  return smallest;
}

std::string HashedEndpointId(const std::string& text) {
  uint8_t digest[20];
  const uint32_t length = HashText(HashAlgorithm::Sha1, text, digest, sizeof digest);
  if (length == 0) {
    return {};
  }
  return HexText(digest, length).replace(0, kMarker.size(), kMarker);
}

std::string RandomEndpointId() {
  return std::string("XXXX").append(FormatUuid(Platform::NewUuid()).View());
}

void Endpoint::Compute() {
  if (!id_.empty()) {
    return;
  }
  const std::string address = GetMacAddress();
  if (!address.empty()) {
    id_ = HashedEndpointId(address + Platform::UserName());
  }
  // No adapter, or hashing failed. A partial identifier must never be stored.
  if (id_.empty()) {
    id_ = RandomEndpointId();
  }
}

void Endpoint::Persist(PersistentStorage* storage) const {
  PersistentStorage::ClientView(storage).SetValue(kEndpointKey, id_);
}

bool Endpoint::IsChanged(PersistentStorage* storage) {
  EnvValue stored = PersistentStorage::ClientView(storage).GetValue(kEndpointKey);
  if (stored.type != EnvType::String || stored.text.empty()) {
    return true;
  }
  id_ = std::move(stored.text);
  return false;
}

}  // namespace Tav
