// Directories, as far as a host's settings name them.
#pragma once

#include <string>

namespace Tav::Platform {

// True when `path` names an existing directory, not a file. The path is UTF-8; on Windows one that
// is no valid UTF-8 is taken in the ANSI code page. May touch the disk or the network.
bool DirectoryExists(const std::string& path);

}  // namespace Tav::Platform
