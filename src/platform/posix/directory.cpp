#include "platform/directory.h"

#include <sys/stat.h>

namespace Tav::Platform {

const char kPathSeparator = '/';

bool DirectoryExists(const std::string& path) {
  struct stat status{};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool MakeDirectory(const std::string& path) {
  return mkdir(path.c_str(), 0777) == 0;
}

// This side has no other code page.
std::string PathToUtf8(std::string_view path) {
  return std::string(path);
}

}  // namespace Tav::Platform
