#include "platform/c_file.h"

#include <fcntl.h>

namespace Tav::Platform {

std::FILE* OpenFile(const char* utf8Path, const char* mode) {
  std::FILE* const file = std::fopen(utf8Path, mode);
  if (file) {
    fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
  }
  return file;
}

}  // namespace Tav::Platform
