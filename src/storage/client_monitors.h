// What is known of the client's monitors.
#pragma once

#include "platform/monitors.h"
#include "storage/client_env.h"

namespace Tav {

// Adds their number and the sizes that are known.
void AddMonitorKeys(const Platform::Monitors& monitors, ClientEnv& env);

}  // namespace Tav
