// The machine's network adapters and the user's name: what identifies a user on a machine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Tav::Platform {

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

}  // namespace Tav::Platform
