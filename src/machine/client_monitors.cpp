#include "machine/client_monitors.h"

namespace Tav {

namespace {

std::string SizeText(long width, long height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

std::string MonitorKey(size_t number) {
  return "Monitors.Monitor" + std::to_string(number) + " Resolution";
}

}  // namespace

void AddMonitorKeys(const Platform::Monitors& monitors, ClientEnv& env) {
  const bool primaryKnown = monitors.primaryWidth != 0 && monitors.primaryHeight != 0;
  const std::string primary =
      primaryKnown ? SizeText(monitors.primaryWidth, monitors.primaryHeight) : std::string();
  env["Number of Monitors"] = std::to_string(monitors.count);
  if (primaryKnown) {
    env["Primary Monitor Resolution"] = primary;
  }
  if (monitors.count == 1 && primaryKnown) {
    env[MonitorKey(1)] = primary;
    return;
  }
  size_t number = 0;
  for (const Platform::MonitorSize& size : monitors.sizes) {
    env[MonitorKey(++number)] = SizeText(size.width, size.height);
  }
}

}  // namespace Tav
