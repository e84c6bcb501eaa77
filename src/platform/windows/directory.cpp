#include "platform/directory.h"

#include <windows.h>

#include "platform/windows/wide_text.h"

namespace Tav::Platform {

bool DirectoryExists(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(ToWide(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace Tav::Platform
