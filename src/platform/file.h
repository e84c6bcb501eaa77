// Files, directories and paths.
//
// Paths are UTF-8; on Windows a path that is not valid UTF-8 is read in the ANSI code page. A
// function that fails leaves its reason in errno. Child processes inherit no file opened here.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace Tav::Platform {

enum class FileUse {
  Append,  // written at its end only; created when missing; others may open it too
  Update,  // read and written at its end; created when missing; others may open it too
  // Read and written; must exist; nobody else has it open or can open it, and it is gone once it is
  // closed. On Windows also when the process dies; elsewhere it then stays.
  Exclusive,
};

enum class OpenResult {
  Opened,
  Missing,
  InUse,  // somebody's sharing forbids it: the system's error 32, errno EACCES
  Failed,
};

// One open file. Used by one thread at a time; no function waits for another holder of the file.
class File {
 public:
  File() = default;
  ~File() { Close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // Closes what was open before.
  OpenResult Open(const char* path, FileUse use);
  bool IsOpen() const { return descriptor_ >= 0; }
  // True also when nothing is open. Gives a lock of the first byte back; whatever the result, the
  // file is not open any more.
  bool Close();

  // Takes the first byte for this File alone, and goes to the start of the file. False at once when
  // another File holds it, in this process or another one.
  bool LockFirstByte();
  void UnlockFirstByte();

  // Bytes read: `count` unless the file ends first. -1 on failure.
  int64_t Read(void* buffer, size_t count);
  // Bytes written: fewer than `count` when the disk is full. -1 on failure.
  int64_t Write(const void* buffer, size_t count);
  // Leaves the file without contents and goes to its start.
  bool Truncate();

 private:
  // False, with errno EBADF, when no file is open: the C run-time of Windows ends a process that
  // hands it a bad descriptor.
  bool CheckOpen() const {
    if (!IsOpen()) {
      errno = EBADF;
    }
    return IsOpen();
  }

  int32_t descriptor_ = -1;
  bool locked_ = false;
  std::string removeOnClose_;  // where the system does not do it itself
};

// False also when there is no such file (ENOENT), it is read-only or somebody has it open.
bool RemoveFile(const char* path);
// A file or directory.
bool FileExists(const char* path);
// The names of the files in a directory, without the directories in it, in no particular order.
bool ListFiles(const char* directory, std::vector<std::string>& names);

// Read without opening the file.
struct FileStatus {
  int64_t size = 0;        // bytes
  int64_t modifiedAt = 0;  // whole seconds since 1970
};

// Also correct for a file that another process has open. False when the status cannot be read;
// errno is ENOENT when there is no such file.
bool QueryFileStatus(const char* path, FileStatus& status);

// Separates the parts of a path. Windows accepts '/' as well.
extern const char kPathSeparator;

// True when `path` names an existing directory, not a file. May touch the disk or the network.
bool DirectoryExists(const std::string& path);

// Makes one directory, whose parent must exist. False, with the reason in errno, when it could not
// be made; EEXIST when something of that name is there already.
bool MakeDirectory(const std::string& path);

// `path` in UTF-8.
std::string PathToUtf8(std::string_view path);

// fopen for a UTF-8 path. The caller owns the stream; null on failure. Other processes may open the
// file at the same time.
std::FILE* OpenFile(const char* utf8Path, const char* mode);

}  // namespace Tav::Platform
