// One storage document on disk: read and written under the lock of its file's first byte, and
// written so that at every moment either the file or the copy beside it holds a whole document.
//
// A save writes the copy, "<name>.new", then the file, then deletes the copy: whoever kills the
// process leaves an intact file and a part of a copy, or an intact copy and a part of a file. A
// copy counts only while the file holds no JSON value. docs/storage-format.md tells the whole
// story.
//
// Used by one thread at a time. Every failure is logged here.
#pragma once

#include <string>

#include "util/json.h"
#include "util/tav_file.h"

namespace Tav {

class StorageFile {
 public:
  // Whether there is a file, or a copy that a save has left.
  static bool Exists(const std::string& path);

  // Makes the file when it is missing, and takes its lock. Somebody else who holds the lock is
  // waited for: some 0.2 seconds, many times what a save takes. False when the file is not open.
  bool Open(std::string path);
  bool IsOpen() const { return file_.IsOpen(); }
  // Gives the lock back.
  void Close() { file_.Close(); }

  // The document, once after Open; null when there is none to use. `damaged` tells of the file
  // itself, whatever the copy could mend: it holds no JSON value.
  JsonPtr Read(bool& damaged);
  // Replaces the document. When the copy cannot be written the file stays as it is; when the file
  // cannot, the copy stays and the next Read finds it.
  void Write(const json_t* root);

  // The copy first: without its file it would come back. False when something stays.
  static bool Delete(const std::string& path);

 private:
  JsonPtr ReadCopy() const;
  bool WriteCopy(const json_t* root) const;

  std::string path_;
  TavFile file_;
  bool fresh_ = false;   // Open has made the file, and nothing stands in it
  bool mended_ = false;  // what was read came from the copy, the only good one until a Write ends
};

}  // namespace Tav
