// Directories, and how paths are written.
//
// Paths are UTF-8; on Windows one that is no valid UTF-8 is taken in the ANSI code page.
#pragma once

#include <string>
#include <string_view>

namespace Tav::Platform {

// What stands between the parts of a path. On Windows the system takes '/', too.
extern const char kPathSeparator;

// True when `path` names an existing directory, not a file. May touch the disk or the network.
bool DirectoryExists(const std::string& path);

// Makes one directory, whose parent must exist. False, with the reason in errno, when it could not
// be made; EEXIST when something of that name is there already.
bool MakeDirectory(const std::string& path);

// `path` in UTF-8.
std::string PathToUtf8(std::string_view path);

}  // namespace Tav::Platform
