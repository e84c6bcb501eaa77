// What the process and the calling thread are called by the system, and its environment.
#pragma once

#include <optional>
#include <string>

namespace Tav::Platform {

int ProcessId();
int CurrentProcessor();
long CurrentThreadId();

// The value of an environment variable, or nothing when it is not set; a variable set to nothing
// gives an empty text. UTF-8 in and out. Keeps the last error.
std::optional<std::string> Environment(const char* name);

}  // namespace Tav::Platform
