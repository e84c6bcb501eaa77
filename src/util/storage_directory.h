// The per-user folder that holds everything the library keeps on disk: the storage files and the
// cache. All paths are UTF-8 inside the library.
//
// It is %LOCALAPPDATA%\Quendel\Tav, made when missing, unless an alternate directory is set, which
// must exist. It is looked up once, on the first question, and remembered until one of the
// functions below says otherwise: a variable that changes meanwhile does not tear the files of one
// run apart.
//
// Any thread may call these; the first question touches the disk.
#pragma once

#include <string>
#include <string_view>

namespace Tav {

// Without a separator at its end unless the alternate directory has one. Empty when there is no
// such folder and none can be made; the log says why, once.
std::string GetStorageDirectory();

// The folder from now on; an empty path goes back to the usual one. The path is UTF-8; one that is
// not valid UTF-8 is taken in the ANSI code page. Files already open stay where they are.
void SetAlternateStorageDirectory(std::string_view path);

// The path of a file in the storage directory; empty when there is no such directory.
std::string JoinStoragePath(std::string_view fileName);

// Back to the state before the first question: no alternate directory, the environment is read
// again.
void ForgetStorageDirectory();

}  // namespace Tav
