// What is known of the client's monitors.
#pragma once

#include "machine/client_env.h"
#include "platform/machine.h"

namespace Tav {

// Adds their number and the sizes that are known.
void AddMonitorKeys(const Platform::Monitors& monitors, ClientEnv& env);

}  // namespace Tav
