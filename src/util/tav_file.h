// A file of the storage directory: opening with a lock or for exclusive use, and the messages of
// its failures.
//
// Paths are UTF-8. A TavFile is used by one thread at a time. It waits only for the disk,
// except in Truncate and in an open that waits for the lock.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/file.h"

namespace Tav {

class TavFile {
 public:
  TavFile() = default;
  // Closes the file.
  ~TavFile() = default;
  TavFile(const TavFile&) = delete;
  TavFile& operator=(const TavFile&) = delete;

  // Each open closes the file that was open before, clears its failures and returns success. A link
  // or a file with several names is not opened, which is logged.
  //
  // The first two create a missing file and lock its first byte. They fail while another TavFile,
  // in this process or another one, holds the lock.
  bool OpenForAppend(const char* path);
  // While the file is locked or open without sharing, tries again for `lockWait` milliseconds.
  bool OpenForUpdate(const char* path, int lockWait = 0);
  // Takes an existing file for exclusive use: nobody else can open it.
  bool OpenAtomic(const char* path);
  // Removes a file that OpenAtomic opened, at the latest when it is closed. Without this call the
  // file stays, also if the process dies.
  bool Discard();

  bool IsOpen() const { return file_.IsOpen(); }
  // The last open failed for a reason that will persist: any but a missing file or, for OpenAtomic,
  // any but a file that is in use.
  bool LastingFailure() const { return lastingFailure_; }
  // The last open failed because the file does not exist.
  bool Missing() const { return missing_; }
  // The last open failed for a reason of the file itself: it is neither missing nor in use, and the
  // process is not out of memory or descriptors.
  bool Unusable() const { return unusable_; }
  // The last OpenForAppend or OpenForUpdate failed because another program, or another part of this
  // one, has the file locked or open without sharing.
  bool InUse() const { return inUse_; }

  // True after the first failure since the last open. Read and Write do nothing then.
  bool Failed() const { return failed_; }
  // The text of that failure, at most 256 characters. Valid until the next call.
  const char* ErrorText() const { return errorText_.c_str(); }

  // Returns the bytes delivered, fewer than `count` only at the end or after a failure.
  size_t Read(void* buffer, size_t count);
  // A short write is a failure.
  bool Write(const void* buffer, size_t count);
  // Empties the file. Tries five times, 100 ms apart, while another process uses the contents.
  bool Truncate();
  // Seeks to the start.
  bool Rewind() { return file_.Rewind(); }
  // Sets the time of the last modification, in seconds since 1970.
  bool SetModified(int64_t secondsSince1970) { return file_.SetModified(secondsSince1970); }
  // Also releases the lock. The file is closed even after a failure.
  bool Close();

  // True if the file is gone, also if it did not exist.
  static bool Delete(const char* path);
  static bool Exists(const char* path);
  // The names of the files in a directory; empty if it cannot be read.
  static std::vector<std::string> ReadDirectory(const char* path);

 private:
  void Reset();
  void Fail(const char* what);
  Platform::OpenResult Open(const char* path, Platform::FileUse use);
  bool OpenLocked(const char* path, Platform::FileUse use, int lockWait);
  bool TryOpenLocked(const char* path, Platform::FileUse use);

  Platform::File file_;
  bool lastingFailure_ = false;
  bool missing_ = false;
  bool unusable_ = false;
  bool inUse_ = false;
  bool failed_ = false;
  std::string errorText_;
};

}  // namespace Tav
