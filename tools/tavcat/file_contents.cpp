#include "tavcat/file_contents.h"

#include <cerrno>

#include "platform/error.h"
#include "platform/file.h"
#include "platform/thread.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <stdlib.h>
#include <windows.h>

#include "platform/windows/wide_text.h"
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace Tavcat {

namespace {

constexpr int kMaxAttempts = 6;
constexpr int kRetryMilliseconds = 100;
// The library's files are much smaller.
constexpr size_t kMaxBytes = 256 * 1024 * 1024;
constexpr size_t kPieceBytes = 65536;

#ifdef _WIN32

// A descriptor, or -1 and the reason in errno.
int OpenReadOnly(const std::string& path) {
  const HANDLE handle = CreateFileW(Tav::Platform::ToWide(path).c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    errno = error == ERROR_FILE_NOT_FOUND      ? ENOENT
            : error == ERROR_SHARING_VIOLATION ? EBUSY
                                               : EACCES;
    return -1;
  }
  return _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_RDONLY | _O_BINARY);
}

// -1, and the reason in errno, on failure.
int ReadPiece(int descriptor, char* buffer) {
  const int got = _read(descriptor, buffer, static_cast<unsigned>(kPieceBytes));
  if (got < 0 && _doserrno == ERROR_LOCK_VIOLATION) {
    errno = EBUSY;
  }
  return got;
}

void Close(int descriptor) {
  _close(descriptor);
}

#else

// Accepts regular files only; opening a named pipe must not block.
int OpenReadOnly(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status{};
  if (descriptor < 0 || (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))) {
    return descriptor;
  }
  close(descriptor);
  errno = EINVAL;
  return -1;
}

int ReadPiece(int descriptor, char* buffer) {
  return static_cast<int>(read(descriptor, buffer, kPieceBytes));
}

void Close(int descriptor) {
  close(descriptor);
}

#endif

FileContents Failure() {
  const int error = errno;
  FileContents contents;
  contents.reason = Tav::Platform::ErrnoMessage(error);
  contents.result = error == ENOENT  ? ReadResult::Missing
                    : error == EBUSY ? ReadResult::InUse
                                     : ReadResult::Failed;
  return contents;
}

FileContents ReadOnce(const std::string& path) {
  const int descriptor = OpenReadOnly(path);
  if (descriptor < 0) {
    return Failure();
  }
  FileContents contents;
  int got = 0;
  do {
    const size_t before = contents.bytes.size();
    contents.bytes.resize(before + kPieceBytes);
    got = ReadPiece(descriptor, contents.bytes.data() + before);
    contents.bytes.resize(before + static_cast<size_t>(got > 0 ? got : 0));
  } while (got > 0 && contents.bytes.size() <= kMaxBytes);
  contents.result = ReadResult::Whole;
  if (got != 0) {
    errno = got > 0 ? EFBIG : errno;
    contents = Failure();
  }
  Close(descriptor);
  return contents;
}

}  // namespace

FileContents ReadFile(const std::string& path) {
  for (int attempt = 1;; ++attempt) {
    Tav::Platform::FileStatus before;
    Tav::Platform::FileStatus after;
    Tav::Platform::QueryFileStatus(path.c_str(), before);
    FileContents contents = ReadOnce(path);
    Tav::Platform::QueryFileStatus(path.c_str(), after);
    contents.modifiedAt = after.modifiedAt;
    const bool settled = before.size == after.size && before.modifiedAt == after.modifiedAt;
    const bool again =
        contents.result == ReadResult::InUse || (contents.result == ReadResult::Whole && !settled);
    if (!again || attempt == kMaxAttempts) {
      return contents;
    }
    Tav::Platform::SleepMilliseconds(kRetryMilliseconds);
  }
}

}  // namespace Tavcat
