#include "platform/mapped_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/error.h"

namespace Tav::Platform {

namespace {

int Descriptor(intptr_t descriptor) {
  return static_cast<int>(descriptor);
}

// Closes a descriptor that cannot be used and keeps the reason.
void Abandon(int descriptor, int reason) {
  close(descriptor);
  errno = reason;
}

}  // namespace

bool MappedFile::Create(const std::string& path) {
  Close();
  const int descriptor =
      open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (descriptor < 0) {
    return false;
  }
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    Abandon(descriptor, errno);
    return false;
  }
  // Another process may have taken it between the two calls and deleted it as an empty one.
  struct stat status{};
  if (fstat(descriptor, &status) != 0 || status.st_nlink == 0) {
    Abandon(descriptor, EAGAIN);
    return false;
  }
  descriptor_ = descriptor;
  path_ = path;
  return true;
}

OpenResult MappedFile::Open(const std::string& path) {
  Close();
  const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
  if (descriptor < 0) {
    return errno == ENOENT ? OpenResult::Missing : OpenResult::Failed;
  }
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    Abandon(descriptor, errno);
    return OpenResult::InUse;
  }
  // Its owner may have deleted it between the two calls; another name of the file may be anywhere.
  struct stat status{};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1) {
    Abandon(descriptor, ENOENT);
    return status.st_nlink == 0 ? OpenResult::Missing : OpenResult::Failed;
  }
  descriptor_ = descriptor;
  path_ = path;
  return OpenResult::Opened;
}

void MappedFile::Close() {
  if (IsOpen()) {
    const ErrorKeeper keeper;
    close(Descriptor(descriptor_));
    descriptor_ = kNone;
  }
}

bool MappedFile::Remove() {
  const bool removed = IsOpen() && unlink(path_.c_str()) == 0;
  Close();
  return removed;
}

int64_t MappedFile::Size() const {
  struct stat status{};
  return fstat(Descriptor(descriptor_), &status) == 0 ? int64_t{status.st_size} : -1;
}

bool MappedFile::Extend(size_t size) {
  static constexpr std::array<char, 65536> kZeros{};
  int64_t end = Size();
  while (end >= 0 && size > 0) {
    const ssize_t written =
        pwrite(Descriptor(descriptor_), kZeros.data(), std::min(size, kZeros.size()), end);
    if (written <= 0) {
      return false;
    }
    end += written;
    size -= static_cast<size_t>(written);
  }
  return end >= 0;
}

std::byte* MappedFile::Map(int64_t offset, size_t size) {
  void* const piece = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED,
                           Descriptor(descriptor_), static_cast<off_t>(offset));
  return piece == MAP_FAILED ? nullptr : static_cast<std::byte*>(piece);
}

void MappedFile::Unmap(std::byte* piece, size_t size) {
  if (piece != nullptr) {
    munmap(piece, size);
  }
}

// Native builds serve tests, which use local folders.
bool IsLocalDisk(const std::string& directory) {
  return DirectoryExists(directory);
}

}  // namespace Tav::Platform
