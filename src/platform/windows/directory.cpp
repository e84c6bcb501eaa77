#include "platform/directory.h"

#include <direct.h>
#include <windows.h>

#include "platform/windows/wide_text.h"

namespace Tav::Platform {

const char kPathSeparator = '\\';

bool DirectoryExists(const std::string& path) {
  const DWORD attributes = GetFileAttributesW(ToWide(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool MakeDirectory(const std::string& path) {
  return _wmkdir(ToWide(path).c_str()) == 0;
}

std::string PathToUtf8(std::string_view path) {
  return ToUtf8(ToWide(path));
}

}  // namespace Tav::Platform
