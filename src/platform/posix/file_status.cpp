#include "platform/file_status.h"

#include <sys/stat.h>

namespace Tav::Platform {

bool QueryFileStatus(const char* path, FileStatus& status) {
  struct stat found{};
  if (stat(path, &found) != 0) {
    return false;
  }
  status.size = found.st_size;
  status.modifiedAt = found.st_mtime;
  return true;
}

}  // namespace Tav::Platform
