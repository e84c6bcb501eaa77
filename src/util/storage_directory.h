// The user's folder with the storage files and the cache. All paths are UTF-8.
//
// By default it is %LOCALAPPDATA%\Quendel\Tav, created if missing. The first call that needs it
// determines the path, so that a later change of the variable does not split the files of one run.
//
// Any thread may call these functions. The first call accesses the disk.
#pragma once

#include <string>
#include <string_view>

namespace Tav {

// Has no separator at its end unless the alternate directory has one. Empty if the folder is
// missing and cannot be created; the log says why, once.
std::string GetStorageDirectory();

// Replaces the default by an existing folder; an empty path restores it. A path that is not valid
// UTF-8 is decoded in the ANSI code page. Open files are not moved.
void SetAlternateStorageDirectory(std::string_view path);

// The path of a file in the storage directory; empty if there is no such directory.
std::string JoinStoragePath(std::string_view fileName);

// Restores the default and reads the environment again.
void ForgetStorageDirectory();

}  // namespace Tav
