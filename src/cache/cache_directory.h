// The cache files of one product: their paths in the storage directory, and a list of the known
// files, oldest first.
//
// A file that cannot be opened or deleted for a reason of its own is passed over: it leaves the
// list and no function but Delete touches it again while its name exists.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Tav {

struct CacheFile {
  static constexpr int64_t kUnknown = -1;

  int sequence = 0;
  int64_t size = 0;  // bytes
  // The size at which the file is known to end with a whole chunk. If its size differs, another
  // manager has written to it since.
  int64_t wholeSize = kUnknown;
  int64_t modifiedAt = 0;  // seconds since 1970, when the list was last read from the disk
};

// Used by one thread at a time. Functions that are not const throw std::bad_alloc.
class CacheDirectory {
 public:
  enum class Deletion {
    Deleted,  // or there was no such file
    InUse,    // another process or manager has it open
    Failed,   // the reason is in errno
  };
  struct Scan {
    int64_t oldestTime = 0;  // when the oldest file in the list was last written to; 0 for none
    uint32_t agedFiles = 0;  // deleted because of their age
    uint32_t errors = 0;     // each one has been logged
  };

  // `path` is UTF-8; empty for none.
  CacheDirectory(std::string path, std::string prefix);

  const std::string& Path() const { return path_; }
  const std::string& Prefix() const { return prefix_; }
  bool Exists() const;
  std::string PathOf(int sequence) const;
  // The sequence numbers of the files on disk, in no particular order.
  std::vector<int> ListSequences() const;

  const std::vector<CacheFile>& Files() const { return files_; }
  // Null when the file is not known. Valid until the list changes.
  const CacheFile* Find(int sequence) const;
  // The total size of the known files, in bytes.
  int64_t TotalSize() const;
  // Adds the file in sequence order, or replaces its entry.
  void Put(const CacheFile& file);
  void Forget(int sequence);
  void PassOver(int sequence);
  bool IsPassedOver(int sequence) const;

  // Builds the list from the files on disk. Deletes those that nobody has written to for 30 days.
  // A file with an implausible time gets the time `now`, in seconds since 1970.
  Scan ScanFiles(int64_t now);
  // Updates the list from the disk, which other processes change, too. Does not add files that
  // nobody has written to for 30 days.
  void Refresh(int64_t now);
  // Deletes a file from the disk and the list.
  Deletion Delete(int sequence);

 private:
  const std::string path_;
  const std::string prefix_;
  std::vector<CacheFile> files_;
  std::vector<int> passedOver_;
};

// For log messages and results: INT32_MAX for a larger number.
int ToInt(int64_t bytes);

}  // namespace Tav
