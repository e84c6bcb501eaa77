// Shows a storage file, docs/storage-format.md, in the order of the document, and every fault with
// what the library makes of it.
#pragma once

#include <string_view>

#include "tavcat/report.h"

namespace Tavcat {

// The main file or the one of the time stamps, which have one layout.
void ShowStorageFile(std::string_view bytes, Report& report);
// The copy that a save writes first and deletes at its end.
void ShowStorageCopy(std::string_view bytes, Report& report);

}  // namespace Tavcat
