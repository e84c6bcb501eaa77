// Prints a storage folder and the files in it. docs/storage-format.md, docs/cache-format.md
// and docs/journal-format.md describe their formats.
#pragma once

#include <string>
#include <string_view>

#include "tavcat/report.h"

namespace Tavcat {

// Prints the two storage files, the cache files of each prefix in order, the journals, and the
// names of all other files. The path is UTF-8. Returns false, and prints nothing, if the folder
// cannot be read.
bool ShowFolder(const std::string& folder, Report& report);

// The content of a cache file: every record with its offset, every fault with what is lost by it.
void ShowCacheFile(std::string_view bytes, Report& report);

// The content of a journal: the run, and the entries that are whole in each segment in use.
void ShowJournal(std::string_view bytes, Report& report);

// The content of a storage file, in the order of the document; each fault with what the library
// does about it. TavData and TsTavData have the same layout.
void ShowStorageFile(std::string_view bytes, Report& report);
// The temporary copy that a save writes first and deletes at its end.
void ShowStorageCopy(std::string_view bytes, Report& report);

}  // namespace Tavcat
