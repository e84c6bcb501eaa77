// Shows a cache file, docs/cache-format.md: every record with its place, and every fault with what
// it costs.
#pragma once

#include <string_view>

#include "tavcat/report.h"

namespace Tavcat {

void ShowCacheFile(std::string_view bytes, Report& report);

}  // namespace Tavcat
