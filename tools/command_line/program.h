// The entry of a program, the same on every system: CMake's target utf8_main defines main, or
// wmain.
#pragma once

#include <string>
#include <vector>

// Defined by the program. The arguments, without the program's name, are UTF-8, and so is what it
// writes: on Windows, also on the console, and without a change of its line ends. Returns the exit
// status.
int RunProgram(const std::vector<std::string>& arguments);
