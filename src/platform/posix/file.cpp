#include "platform/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "platform/error.h"

namespace Tav::Platform {

namespace {

constexpr uint32_t kSharingViolation = 32;

// Emulates the sharing modes of Windows with whole-file locks: each open file holds a shared lock
// or, for exclusive use, an exclusive one. The lock of the first byte is a record lock, which
// ignores them. Both belong to the open file, not to the process.
bool TakeShare(int descriptor, bool exclusive) {
  if (flock(descriptor, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) == 0) {
    return true;
  }
  if (errno == EWOULDBLOCK) {
    SetLastError(kSharingViolation);
    errno = EACCES;
  }
  return false;
}

// Windows does not delete a read-only file; a privileged user here could.
bool Writable(const struct stat& status) {
  return (status.st_mode & 0222) != 0;
}

int RecordLock(int descriptor, short type) {
  struct flock lock{};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0;
  lock.l_len = 1;
  return fcntl(descriptor, F_OFD_SETLK, &lock);
}

struct CloseDirectory {
  void operator()(DIR* stream) const { closedir(stream); }
};

constexpr int kFailed = -1;
constexpr int kRemoved = -2;
constexpr int kRefused = -3;

int CloseKeepingErrno(int descriptor, int result = kFailed) {
  const ErrorKeeper keeper;
  close(descriptor);
  return result;
}

int OpenShared(const char* path, FileUse use) {
  const bool exclusive = use == FileUse::Exclusive;
  int flags = O_CLOEXEC | O_NOFOLLOW | (use == FileUse::Append ? O_WRONLY : O_RDWR);
  flags |= exclusive ? 0 : O_CREAT | O_APPEND;
  const int descriptor = open(path, flags, 0666);
  if (descriptor < 0) {
    const bool link = errno == ELOOP;
    errno = link ? EACCES : errno;
    return link ? kRefused : kFailed;
  }
  if (!TakeShare(descriptor, exclusive)) {
    return CloseKeepingErrno(descriptor);
  }
  struct stat status{};
  if (fstat(descriptor, &status) != 0) {
    return CloseKeepingErrno(descriptor);
  }
  // Between open and lock, an exclusive holder may have removed the file.
  if (status.st_nlink == 0) {
    errno = ENOENT;
    return CloseKeepingErrno(descriptor, kRemoved);
  }
  if (status.st_nlink > 1) {
    errno = EACCES;
    return CloseKeepingErrno(descriptor, kRefused);
  }
  return descriptor;
}

}  // namespace

const char kPathSeparator = '/';

// There are no code pages here.
std::string PathToUtf8(std::string_view path) {
  return std::string(path);
}

OpenResult File::Open(const char* path, FileUse use) {
  Close();
  SetLastError(0);
  // The next attempt creates a removed file again.
  do {
    descriptor_ = OpenShared(path, use);
  } while (descriptor_ == kRemoved && use != FileUse::Exclusive);
  if (IsOpen()) {
    path_ = path;
    return OpenResult::Opened;
  }
  if (descriptor_ == kRefused) {
    return OpenResult::Refused;
  }
  if (errno == ENOENT) {
    return OpenResult::Missing;
  }
  return LastError() == kSharingViolation ? OpenResult::InUse : OpenResult::Failed;
}

bool File::Close() {
  if (!IsOpen()) {
    return true;
  }
  UnlockFirstByte();
  const int descriptor = descriptor_;
  descriptor_ = -1;
  return close(descriptor) == 0;
}

bool File::Discard() {
  struct stat status{};
  if (!CheckOpen() || fstat(descriptor_, &status) != 0) {
    return false;
  }
  if (!Writable(status)) {
    errno = EACCES;
    return false;
  }
  return unlink(path_.c_str()) == 0;
}

bool File::LockFirstByte() {
  if (!CheckOpen()) {
    return false;
  }
  if (lseek(descriptor_, 0, SEEK_SET) != 0) {
    return false;
  }
  locked_ = RecordLock(descriptor_, F_WRLCK) == 0;
  if (!locked_ && errno == EAGAIN) {
    errno = EACCES;
  }
  return locked_;
}

void File::UnlockFirstByte() {
  if (locked_) {
    RecordLock(descriptor_, F_UNLCK);
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
    const ssize_t got = read(descriptor_, bytes + done, count - done);
    if (got < 0 && errno != EINTR) {
      return -1;
    }
    if (got == 0) {
      break;
    }
    done += got > 0 ? static_cast<size_t>(got) : 0;
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
    const ssize_t written = write(descriptor_, bytes + done, count - done);
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      return done > 0 && errno == ENOSPC ? static_cast<int64_t>(done) : -1;
    }
    done += static_cast<size_t>(written);
  }
  return static_cast<int64_t>(done);
}

bool File::Truncate() {
  if (!CheckOpen()) {
    return false;
  }
  return ftruncate(descriptor_, 0) == 0 && lseek(descriptor_, 0, SEEK_SET) == 0;
}

bool File::Rewind() {
  return CheckOpen() && lseek(descriptor_, 0, SEEK_SET) == 0;
}

bool File::SetModified(int64_t secondsSince1970) {
  const timespec times[] = {{0, UTIME_OMIT}, {secondsSince1970, 0}};
  return CheckOpen() && futimens(descriptor_, times) == 0;
}

std::FILE* OpenFile(const char* path, const char* mode) {
  std::FILE* const file = std::fopen(path, mode);
  if (file) {
    fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
  }
  return file;
}

bool RemoveFile(const char* path) {
  struct stat status{};
  if (lstat(path, &status) != 0) {
    return false;
  }
  if (S_ISLNK(status.st_mode)) {
    return unlink(path) == 0;
  }
  if (!S_ISREG(status.st_mode) || !Writable(status)) {
    errno = EACCES;
    return false;
  }
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  if (descriptor < 0) {
    return false;
  }
  const bool removed = TakeShare(descriptor, true) && unlink(path) == 0;
  CloseKeepingErrno(descriptor);
  return removed;
}

bool RenameFile(const char* from, const char* to) {
  return renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0;
}

bool FileExists(const char* path) {
  struct stat status{};
  return lstat(path, &status) == 0;
}

bool QueryFileStatus(const char* path, FileStatus& status) {
  struct stat found{};
  if (lstat(path, &found) != 0) {
    return false;
  }
  status.size = found.st_size;
  status.modifiedAt = found.st_mtime;
  return true;
}

bool DirectoryExists(const std::string& path) {
  struct stat status{};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool MakeDirectory(const std::string& path) {
  return mkdir(path.c_str(), 0777) == 0;
}

bool ListFiles(const char* directory, std::vector<std::string>& names) {
  names.clear();
  const std::unique_ptr<DIR, CloseDirectory> stream(opendir(directory));
  if (!stream) {
    return false;
  }
  while (const dirent* const entry = readdir(stream.get())) {
    struct stat status{};
    if (fstatat(dirfd(stream.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        !S_ISDIR(status.st_mode)) {
      names.emplace_back(entry->d_name);
    }
  }
  return true;
}

}  // namespace Tav::Platform
