#include "platform/file_status.h"

#include <errno.h>
#include <windows.h>

#include "platform/windows/wide_text.h"

namespace Tav::Platform {

namespace {

constexpr uint64_t kUnitsPerSecond = 10'000'000;
constexpr int64_t kSecondsFrom1601To1970 = 11'644'473'600;

uint64_t Join(DWORD high, DWORD low) {
  return (static_cast<uint64_t>(high) << 32) | low;
}

}  // namespace

// The C run-time's stat reads the directory's entry, which is behind while a file is open.
bool QueryFileStatus(const char* path, FileStatus& status) {
  WIN32_FILE_ATTRIBUTE_DATA found;
  if (!GetFileAttributesExW(ToWide(path).c_str(), GetFileExInfoStandard, &found)) {
    const DWORD reason = GetLastError();
    errno = reason == ERROR_FILE_NOT_FOUND || reason == ERROR_PATH_NOT_FOUND ? ENOENT : EACCES;
    return false;
  }
  const FILETIME& written = found.ftLastWriteTime;
  status.size = static_cast<int64_t>(Join(found.nFileSizeHigh, found.nFileSizeLow));
  status.modifiedAt =
      static_cast<int64_t>(Join(written.dwHighDateTime, written.dwLowDateTime) / kUnitsPerSecond) -
      kSecondsFrom1601To1970;
  return true;
}

}  // namespace Tav::Platform
