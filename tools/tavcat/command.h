// The command line.
#pragma once

#include <span>
#include <string>

#include "tavcat/report.h"

namespace Tavcat {

inline constexpr int kExitGood = 0;
inline constexpr int kExitDamage = 1;
inline constexpr int kExitUsage = 2;  // or the folder cannot be read

// Runs the program and returns its exit status. `arguments` are UTF-8, without the program's name.
int RunCommand(std::span<const std::string> arguments, const Sink& output, const Sink& problems);

}  // namespace Tavcat
