// Steps all clients of a scenario through simulated time.
#pragma once

#include "fleet/figures.h"
#include "fleet/scenario.h"

namespace Fleet {

// Calls each client in the seconds in which it has something to do. The same scenario always gives
// the same figures.
Figures Simulate(const Scenario& scenario);

}  // namespace Fleet
