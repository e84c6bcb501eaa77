// A picture of a simulation over time, as SVG: requests, clients behind, bytes on clients.
#pragma once

#include <string>

#include "fleet/figures.h"
#include "fleet/scenario.h"

namespace Fleet {

// Follows the reader's choice of light or dark. Needs no font, script or other file.
std::string Plot(const Scenario& scenario, const Figures& figures);

}  // namespace Fleet
