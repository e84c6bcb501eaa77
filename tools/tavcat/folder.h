// Shows a storage folder: the two storage files, the cache files of each prefix in their order, and
// the names of what is not the library's.
#pragma once

#include <string>

#include "tavcat/report.h"

namespace Tavcat {

// The path is UTF-8. False, and nothing is reported, when the folder cannot be read.
bool ShowFolder(const std::string& folder, Report& report);

}  // namespace Tavcat
