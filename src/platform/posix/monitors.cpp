#include "platform/monitors.h"

namespace Tav::Platform {

std::optional<Monitors> QueryMonitors() {
  return std::nullopt;
}

}  // namespace Tav::Platform
