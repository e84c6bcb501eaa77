// Files, directories and paths.
//
// Paths are UTF-8. On Windows a path that is not valid UTF-8 is decoded in the ANSI code page. A
// function that fails leaves the reason in errno. Child processes do not inherit files opened here.
//
// No function but OpenFile follows a link in the last part of a path: others may be able to write
// to the folder. Links among the folders of a path are followed.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace Tav::Platform {

// The separator in paths that the library builds. Windows also accepts '/'.
extern const char kPathSeparator;

// `path` in UTF-8.
std::string PathToUtf8(std::string_view path);

enum class FileUse {
  Append,  // write-only, at the end; creates a missing file; others may open the file
  Update,  // read and write, writes at the end; creates a missing file; others may open the file
  // Read and write; fails if the file is missing or open elsewhere. Nobody else can open the file.
  Exclusive,
};

enum class OpenResult {
  Opened,
  Missing,
  InUse,    // sharing violation: last error 32, errno EACCES
  Refused,  // a link, another reparse point or a file with several names; errno EACCES
  Failed,
};

// One open file. Used by one thread at a time. No function waits for another process or thread
// that uses the file.
class File {
 public:
  File() = default;
  ~File() { Close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // Closes the file that was open before.
  OpenResult Open(const char* path, FileUse use);
  bool IsOpen() const { return descriptor_ >= 0; }
  // Also releases the lock. Returns true if no file is open. The file is closed even after a
  // failure.
  bool Close();
  // Removes the file, at the latest when it is closed. For exclusive use only. Fails if the file
  // has become read-only. If the process dies before this call, the file stays.
  bool Discard();

  // Locks the first byte and seeks to the start of the file. Returns false at once if another File
  // holds the lock, in this process or another one: errno is EACCES. It is another one where the
  // file system has no locks.
  bool LockFirstByte();
  void UnlockFirstByte();

  // Returns the bytes read, fewer than `count` only at the end of the file; -1 on failure.
  int64_t Read(void* buffer, size_t count);
  // Returns the bytes written, fewer than `count` if the disk is full; -1 on failure.
  int64_t Write(const void* buffer, size_t count);
  // Empties the file and seeks to its start.
  bool Truncate();
  // Seeks to the start.
  bool Rewind();
  // Sets the time of the last modification, in seconds since 1970. Later writes may change it.
  bool SetModified(int64_t secondsSince1970);

 private:
  // Returns false and sets EBADF if no file is open: the Windows run-time terminates a process that
  // passes it a bad descriptor.
  bool CheckOpen() const {
    if (!IsOpen()) {
      errno = EBADF;
    }
    return IsOpen();
  }

  int32_t descriptor_ = -1;
  bool locked_ = false;
  std::string path_;  // for Discard, where the system needs it
};

// fopen. The caller owns the stream; null on failure. Others may open the file.
std::FILE* OpenFile(const char* path, const char* mode);

// Fails if the file is missing (ENOENT), read-only or open. Of a link, removes the link itself; of
// a file with several names, this one.
bool RemoveFile(const char* path);

// Fails if `to` exists (EEXIST). Both are in one directory.
bool RenameFile(const char* from, const char* to);

// True for a file, a directory or a link.
bool FileExists(const char* path);

struct FileStatus {
  int64_t size = 0;        // bytes
  int64_t modifiedAt = 0;  // seconds since 1970-01-01 UTC
};

// Reads the status without opening the file; correct also while another process writes to it. Of a
// link, the status of the link itself.
bool QueryFileStatus(const char* path, FileStatus& status);

// False for a file. May access the disk or the network.
bool DirectoryExists(const std::string& path);

// Creates one directory in an existing parent. Sets EEXIST if the name is taken.
bool MakeDirectory(const std::string& path);

// Lists the files in a directory, without its subdirectories, in no particular order.
bool ListFiles(const char* directory, std::vector<std::string>& names);

}  // namespace Tav::Platform
