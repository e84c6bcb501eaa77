// Asks the local gateway over HTTP or HTTPS what arrived.
#pragma once

#include <string>
#include <vector>

#include "bench/results.h"

namespace Bench {

struct Arrivals {
  int lost = 0;     // expected and not there
  int doubled = 0;  // there more than once
  int foreign = 0;  // never reported
};

// Blocks; failures throw std::runtime_error.
class GatewayClient {
 public:
  explicit GatewayClient(std::string url) : url_(std::move(url)) {}

  // Forgets everything that has arrived so far.
  void Reset();
  // The gateway's counts.
  Json Summary();
  // Looks for one benchmark event of each serial number from 0 to `events` - 1.
  Arrivals CheckArrivals(int events);

 private:
  Json Ask(const wchar_t* verb, const std::string& path);

  const std::string url_;
};

}  // namespace Bench
