// The command line: arguments in, exit status out.
#pragma once

#include <span>
#include <string>

#include "tavcat/report.h"

namespace Tavcat {

inline constexpr int kExitGood = 0;
inline constexpr int kExitDamage = 1;
inline constexpr int kExitUsage = 2;  // or a folder that cannot be read

// `arguments` are UTF-8, the program's name not among them.
int RunCommand(std::span<const std::string> arguments, const Sink& output, const Sink& problems);

}  // namespace Tavcat
