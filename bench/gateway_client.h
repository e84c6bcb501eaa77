// Requests to the local gateway about what arrived, over HTTP or HTTPS.
#pragma once

#include <string>
#include <vector>

#include "bench/results.h"

namespace Bench {

struct Arrivals {
  int lost = 0;     // events that did not arrive
  int doubled = 0;  // arrivals beyond the first
  int foreign = 0;  // arrivals that were never reported
};

// All functions block. Failures throw std::runtime_error.
class GatewayClient {
 public:
  explicit GatewayClient(std::string url) : url_(std::move(url)) {}

  // Deletes everything that has arrived.
  void Reset();
  // The gateway's counts.
  Json Summary();
  // Expects one event of each serial number from 0 to `events` - 1.
  Arrivals CheckArrivals(int events);

 private:
  Json Request(const wchar_t* verb, const std::string& path);

  const std::string url_;
};

}  // namespace Bench
