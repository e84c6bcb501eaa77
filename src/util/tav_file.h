// A file of the storage directory, with the three ways of opening that durable state needs, and the
// messages that tell of its failures. Nothing here reports to the host.
//
// Paths are UTF-8. A TavFile is used by one thread at a time and blocks only as the disk does,
// Truncate and an open that waits for the lock excepted.
#pragma once

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

  // Each closes what was open before, forgets earlier failures, and returns whether the file is now
  // open. The first two create a missing file and hold the lock of its first byte, which one
  // TavFile at a time can have: false when another one, of this process or another, does.
  bool OpenForAppend(const char* path);
  // Tries to get the lock `lockAttempts` times, 20 ms apart, which is how long it may block.
  bool OpenForUpdate(const char* path, int lockAttempts = 1);
  // Takes an existing file away from everybody else: nobody can open it meanwhile, and Close
  // removes it.
  bool OpenAtomic(const char* path);

  bool IsOpen() const { return file_.IsOpen(); }
  bool Locked() const { return locked_; }
  // The last open failed, and will again: for another reason than a missing file, in OpenAtomic for
  // another reason than somebody else's use of the file.
  bool LastingFailure() const { return lastingFailure_; }
  // The last open failed because there is no such file.
  bool Missing() const { return missing_; }

  // The first failure since the last open. After one, Read and Write do nothing.
  bool Failed() const { return failed_; }
  // Its text, at most 256 characters; empty without a failure. Borrowed until the next call.
  const char* ErrorText() const { return errorText_.c_str(); }

  // Bytes delivered: `count` unless the file ends or fails first.
  size_t Read(void* buffer, size_t count);
  // False after a failure, a short write included.
  bool Write(const void* buffer, size_t count);
  // Empties the file. Tries up to five times, 100 ms apart, so it blocks for up to 400 ms while
  // somebody else holds on to the contents.
  bool Truncate();
  // Gives the lock back, too. Whatever the result, the file is not open any more.
  bool Close();

  // A missing file counts as deleted.
  static bool Delete(const char* path);
  static bool Exists(const char* path);
  // The names of the files in a directory; empty when it cannot be read.
  static std::vector<std::string> ReadDirectory(const char* path);

 private:
  void Reset();
  void Fail(const char* what);
  bool OpenLocked(const char* path, Platform::FileUse use, int lockAttempts);
  bool TakeLock(const char* path, int attempts);

  Platform::File file_;
  bool lastingFailure_ = false;
  bool missing_ = false;
  bool locked_ = false;
  bool failed_ = false;
  std::string errorText_;
};

}  // namespace Tav
