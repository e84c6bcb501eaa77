// What the program needs of the system.
#pragma once

namespace Gateway {

// Call it first. Writing to a closed pipe or socket becomes an error instead of ending the process,
// and the process may open as many connections as the system lets it.
void PrepareProcess();

// Whether standard output is a terminal that shows colours.
bool HasColourTerminal();

}  // namespace Gateway
