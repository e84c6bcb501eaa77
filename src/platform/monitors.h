// The machine's monitors.
#pragma once

#include <optional>
#include <vector>

namespace Tav::Platform {

// In pixels, as the host sees them.
struct MonitorSize {
  long width;
  long height;
};

struct Monitors {
  int count = 0;
  // Of the primary one; zero when the system does not tell.
  int primaryWidth = 0;
  int primaryHeight = 0;
  // In the system's order; asked for only when there are several.
  std::vector<MonitorSize> sizes;
};

// Any thread. Empty where the system has no notion of monitors.
std::optional<Monitors> QueryMonitors();

}  // namespace Tav::Platform
