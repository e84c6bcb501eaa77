// The user's folder with the storage files and the cache. All paths are UTF-8.
//
// By default it is %LOCALAPPDATA%\Quendel\Tav, created if missing. The first call that needs it
// determines the path, so that a later change of the variable does not split the files of one run.
//
// Any thread may call these functions. The first call that needs the default accesses the disk.
#pragma once

#include <string>
#include <string_view>

namespace Tav {

// Where the files of one run are.
struct StorageLocation {
  std::string directory;  // as NormalStorageDirectory returns it; empty: the default
  std::string fileName;   // of the main storage file; empty: the default
};

// The process-wide location, for what belongs to no run.
StorageLocation AlternateStorage();

// The location's directory. Has no separator at its end unless an alternate directory has one.
// Empty if the default folder is missing and cannot be created; the log says why, once.
std::string GetStorageDirectory(const StorageLocation& location = AlternateStorage());

// A directory from the host, with the separator of the system; logs it. A path that is not valid
// UTF-8 is decoded in the ANSI code page.
std::string NormalStorageDirectory(std::string_view path);

// Set the process-wide location: an existing folder, and the name of the main file. Empty texts
// restore the defaults. Open files are not moved.
void SetAlternateStorageDirectory(std::string_view path);
void SetAlternateStorageName(std::string name);

// The path of a file in a directory, with one separator between them.
std::string JoinPath(std::string_view directory, std::string_view name);

// The path of a file in the storage directory; empty if there is no such directory.
std::string JoinStoragePath(std::string_view fileName,
                            const StorageLocation& location = AlternateStorage());

// Restores the default directory and reads the environment again.
void ForgetStorageDirectory();

}  // namespace Tav
