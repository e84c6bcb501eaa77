#include "platform/c_file.h"

#include <io.h>
#include <windows.h>

#include "platform/windows/wide_text.h"

namespace Tav::Platform {

std::FILE* OpenFile(const char* utf8Path, const char* mode) {
  std::FILE* const file = _wfopen(ToWide(utf8Path).c_str(), ToWide(mode).c_str());
  if (file) {
    const intptr_t handle = _get_osfhandle(_fileno(file));
    SetHandleInformation(reinterpret_cast<HANDLE>(handle), HANDLE_FLAG_INHERIT, 0);
  }
  return file;
}

}  // namespace Tav::Platform
