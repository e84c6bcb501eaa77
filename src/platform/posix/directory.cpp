#include "platform/directory.h"

#include <sys/stat.h>

namespace Tav::Platform {

bool DirectoryExists(const std::string& path) {
  struct stat status{};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace Tav::Platform
