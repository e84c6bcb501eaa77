#include "platform/file.h"

#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/locking.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>

#include "platform/windows/wide_text.h"

namespace Tav::Platform {

namespace {

// The C run-time counts in int.
constexpr size_t kMostAtOnce = size_t{1} << 30;

struct OpenFlags {
  int flags;
  int sharing;
};

OpenFlags FlagsFor(FileUse use) {
  constexpr int kShared = _O_BINARY | _O_NOINHERIT | _O_CREAT | _O_APPEND;
  switch (use) {
    case FileUse::Append:
      return {kShared | _O_WRONLY, _SH_DENYNO};
    case FileUse::Update:
      return {kShared | _O_RDWR, _SH_DENYNO};
    default:
      return {_O_BINARY | _O_NOINHERIT | _O_RDWR | _O_TEMPORARY, _SH_DENYRW};
  }
}

bool LockByte(int descriptor, int mode) {
  if (_lseeki64(descriptor, 0, SEEK_SET) != 0) {
    return false;
  }
  errno = 0;
  if (_locking(descriptor, mode, 1) == 0) {
    return true;
  }
  // Not every C run-time says why.
  if (errno == 0) {
    errno = EACCES;
  }
  return false;
}

// A listing of a directory under way.
class FileSearch {
 public:
  explicit FileSearch(const std::wstring& pattern)
      : handle_(_wfindfirst64(pattern.c_str(), &entry_)) {}
  FileSearch(const FileSearch&) = delete;
  FileSearch& operator=(const FileSearch&) = delete;
  ~FileSearch() {
    if (Found()) {
      _findclose(handle_);
    }
  }

  bool Found() const { return handle_ != -1; }
  const _wfinddata64_t& Entry() const { return entry_; }
  bool Next() { return _wfindnext64(handle_, &entry_) == 0; }

 private:
  _wfinddata64_t entry_{};
  const intptr_t handle_;
};

}  // namespace

OpenResult File::Open(const char* path, FileUse use) {
  Close();
  const OpenFlags open = FlagsFor(use);
  const errno_t error =
      _wsopen_s(&descriptor_, ToWide(path).c_str(), open.flags, open.sharing, _S_IREAD | _S_IWRITE);
  if (error == 0) {
    return OpenResult::Opened;
  }
  const unsigned long systemError = _doserrno;
  descriptor_ = -1;
  errno = error;
  if (error == ENOENT) {
    return OpenResult::Missing;
  }
  return systemError == ERROR_SHARING_VIOLATION ? OpenResult::InUse : OpenResult::Failed;
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
    const size_t piece = std::min(count - done, kMostAtOnce);
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
    const size_t piece = std::min(count - done, kMostAtOnce);
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
  if (!CheckOpen()) {
    return false;
  }
  const errno_t error = _chsize_s(descriptor_, 0);
  if (error != 0) {
    errno = error;
    return false;
  }
  return _lseeki64(descriptor_, 0, SEEK_SET) == 0;
}

bool RemoveFile(const char* path) {
  return _wremove(ToWide(path).c_str()) == 0;
}

bool FileExists(const char* path) {
  return _waccess(ToWide(path).c_str(), 0) == 0;
}

bool ListFiles(const char* directory, std::vector<std::string>& names) {
  names.clear();
  FileSearch search(ToWide(directory) + L"\\*");
  if (!search.Found()) {
    return false;
  }
  do {
    if ((search.Entry().attrib & _A_SUBDIR) == 0) {
      names.push_back(ToUtf8(search.Entry().name));
    }
  } while (search.Next());
  return true;
}

}  // namespace Tav::Platform
