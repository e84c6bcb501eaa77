#include "platform/file.h"

#include <direct.h>
#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <sys/locking.h>
#include <windows.h>

#include <algorithm>

#include "platform/windows/file_time.h"
#include "platform/windows/wide_text.h"

namespace Tav::Platform {

namespace {

// The C run-time counts bytes in int.
constexpr size_t kMaxPiece = size_t{1} << 30;

// A link is opened itself, not what it points to.
HANDLE OpenHandle(const wchar_t* path, FileUse use) {
  const bool exclusive = use == FileUse::Exclusive;
  const DWORD access = FILE_READ_ATTRIBUTES | GENERIC_WRITE |
                       (use == FileUse::Append ? 0 : GENERIC_READ) | (exclusive ? DELETE : 0);
  return CreateFileW(path, access, exclusive ? 0 : FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                     exclusive ? OPEN_EXISTING : OPEN_ALWAYS,
                     FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
}

// Whether nothing but the file's one name leads to its contents.
bool HasOneName(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION found;
  return GetFileInformationByHandle(handle, &found) &&
         (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0 && found.nNumberOfLinks <= 1;
}

// What the C run-time makes of the errors of an open.
int ErrnoOf(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_FILENAME_EXCED_RANGE:
      return ENOENT;
    case ERROR_TOO_MANY_OPEN_FILES:
      return EMFILE;
    case ERROR_NOT_ENOUGH_MEMORY:
      return ENOMEM;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return ENOSPC;
    case ERROR_INVALID_NAME:
    case ERROR_INVALID_PARAMETER:
      return EINVAL;
    default:
      return EACCES;
  }
}

bool LockByte(int descriptor, int mode) {
  if (_lseeki64(descriptor, 0, SEEK_SET) != 0) {
    return false;
  }
  SetLastError(ERROR_SUCCESS);
  if (_locking(descriptor, mode, 1) == 0) {
    return true;
  }
  // Not every C run-time sets errno, and none distinguishes the reasons.
  const DWORD reason = GetLastError();
  errno = reason == ERROR_INVALID_FUNCTION || reason == ERROR_NOT_SUPPORTED ? EINVAL : EACCES;
  return false;
}

}  // namespace

const char kPathSeparator = '\\';

std::string PathToUtf8(std::string_view path) {
  return ToUtf8(ToWide(path));
}

OpenResult File::Open(const char* path, FileUse use) {
  Close();
  const std::wstring wide = ToWide(path);
  HANDLE handle = OpenHandle(wide.c_str(), use);
  if (handle == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    errno = ErrnoOf(error);
    if (errno == ENOENT) {
      return OpenResult::Missing;
    }
    return error == ERROR_SHARING_VIOLATION ? OpenResult::InUse : OpenResult::Failed;
  }
  if (!HasOneName(handle)) {
    CloseHandle(handle);
    errno = EACCES;
    return OpenResult::Refused;
  }
  constexpr int kShared = _O_BINARY | _O_NOINHERIT | _O_APPEND;
  descriptor_ = _open_osfhandle(reinterpret_cast<intptr_t>(handle),
                                use == FileUse::Exclusive ? _O_BINARY | _O_NOINHERIT : kShared);
  if (descriptor_ < 0) {
    CloseHandle(handle);
    errno = EMFILE;
    return OpenResult::Failed;
  }
  return OpenResult::Opened;
}

bool File::Discard() {
  if (!CheckOpen()) {
    return false;
  }
  FILE_DISPOSITION_INFO disposition = {TRUE};
  auto* const handle = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor_));
  if (!SetFileInformationByHandle(handle, FileDispositionInfo, &disposition, sizeof disposition)) {
    errno = EACCES;
    return false;
  }
  return true;
}

bool File::Close() {
  if (!IsOpen()) {
    return true;
  }
  UnlockFirstByte();
  const int descriptor = descriptor_;
  descriptor_ = -1;
  return _close(descriptor) == 0;
}

bool File::LockFirstByte() {
  if (!CheckOpen()) {
    return false;
  }
  locked_ = LockByte(descriptor_, _LK_NBLCK);
  return locked_;
}

void File::UnlockFirstByte() {
  if (locked_) {
    LockByte(descriptor_, _LK_UNLCK);
    locked_ = false;
  }
}

int64_t File::Read(void* buffer, size_t count) {
  if (!CheckOpen()) {
    return -1;
  }
  char* const bytes = static_cast<char*>(buffer);
  size_t done = 0;
  while (done < count) {
    const size_t piece = std::min(count - done, kMaxPiece);
    const int got = _read(descriptor_, bytes + done, static_cast<unsigned>(piece));
    if (got < 0) {
      return -1;
    }
    if (got == 0) {
      break;
    }
    done += static_cast<size_t>(got);
  }
  return static_cast<int64_t>(done);
}

int64_t File::Write(const void* buffer, size_t count) {
  if (!CheckOpen()) {
    return -1;
  }
  const char* const bytes = static_cast<const char*>(buffer);
  size_t done = 0;
  while (done < count) {
    const size_t piece = std::min(count - done, kMaxPiece);
    const int written = _write(descriptor_, bytes + done, static_cast<unsigned>(piece));
    if (written < 0) {
      return -1;
    }
    done += static_cast<size_t>(written);
    if (static_cast<size_t>(written) < piece) {
      break;
    }
  }
  return static_cast<int64_t>(done);
}

bool File::Truncate() {
  return CheckOpen() && _chsize(descriptor_, 0) == 0 && _lseeki64(descriptor_, 0, SEEK_SET) == 0;
}

bool File::Rewind() {
  return CheckOpen() && _lseeki64(descriptor_, 0, SEEK_SET) == 0;
}

bool File::SetModified(int64_t secondsSince1970) {
  if (!CheckOpen()) {
    return false;
  }
  const FILETIME time = ToFileTime(secondsSince1970);
  auto* const handle = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor_));
  if (!SetFileTime(handle, nullptr, nullptr, &time)) {
    errno = EACCES;
    return false;
  }
  return true;
}

std::FILE* OpenFile(const char* path, const char* mode) {
  std::FILE* const file = _wfopen(ToWide(path).c_str(), ToWide(mode).c_str());
  if (file) {
    const intptr_t handle = _get_osfhandle(_fileno(file));
    SetHandleInformation(reinterpret_cast<HANDLE>(handle), HANDLE_FLAG_INHERIT, 0);
  }
  return file;
}

}  // namespace Tav::Platform
