// One storage document on disk. Every access holds the lock of the file's first byte.
//
// A save writes a copy, "<name>.new", then the file, and then deletes the copy. So at every moment
// the file or the copy is whole, even if the process is killed. A copy is read only while the file
// holds no JSON value. docs/storage-format.md has the details.
//
// Used by one thread at a time. Every failure is logged here.
#pragma once

#include <string>

#include "util/json.h"
#include "util/tav_file.h"

namespace Tav {

class StorageFile {
 public:
  static constexpr int kDefaultLockWait = 200;

  // Whether the file or a copy exists.
  static bool Exists(const std::string& path);

  // Whether another file object, here or in another process, has the file locked or open without
  // sharing at this moment. Never waits.
  static bool IsLocked(const std::string& path);

  // Creates a missing file and locks it, waiting for at most `lockWait` milliseconds while another
  // has it locked or open without sharing. False when the file is not open.
  bool Open(std::string path, int lockWait = kDefaultLockWait);
  // Whether the last Open failed because that wait was too short.
  bool WasLocked() const { return file_.InUse(); }
  bool IsOpen() const { return file_.IsOpen(); }
  // Also releases the lock.
  void Close() { file_.Close(); }

  // The document, once after Open; null when there is none. `damaged` is set when the file holds no
  // JSON value, even if the copy replaces it.
  JsonPtr Read(bool& damaged);
  // Replaces the document. If the copy cannot be written, the file does not change. If the file
  // cannot be written, the copy stays for the next Read.
  void Write(const json_t* root);

  // Deletes the copy first: without its file it would be read again. False when one of them stays.
  static bool Delete(const std::string& path);

 private:
  JsonPtr ReadCopy() const;
  bool WriteCopy(const json_t* root) const;

  std::string path_;
  TavFile file_;
  bool fresh_ = false;     // Open created the file, and it is empty
  bool fromCopy_ = false;  // the document was read from the copy, the only whole one until Write
};

}  // namespace Tav
