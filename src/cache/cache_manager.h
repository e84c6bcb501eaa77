// The cache: records that could not be sent yet, in numbered files of the storage directory, where
// they survive the process. docs/cache-format.md describes the files.
//
// Several managers, in one process or several, may use the files of one product at once. None waits
// for another: a file that another one has open is skipped, a file that another one has consumed is
// forgotten. A file that cannot be opened at all is passed over from then on: it is not tried
// again, not counted and in nobody's way.
//
// A manager is used by one thread at a time and waits only for the disk. Failures are logged and
// counted. Functions that are not const throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "cache/cache_directory.h"
#include "cache/cache_file_writer.h"
#include "model/built_record.h"

namespace Tav {

class TavFile;

class CacheManager {
 public:
  static constexpr uint32_t kDefaultMaxFiles = 50;
  static constexpr uint32_t kDefaultMaxFileSize = 1048576;

  // Seconds since 1970.
  using Clock = int64_t (*)();

  // Uses the files in `storageDirectory` (UTF-8) whose names begin with `prefix`, see CachePrefix.
  // Without that directory the cache is disabled.
  CacheManager(std::string storageDirectory, std::string prefix, Clock clock = SystemClock);
  CacheManager(const CacheManager&) = delete;
  CacheManager& operator=(const CacheManager&) = delete;

  virtual ~CacheManager() = default;
  // Finds the files and deletes those that nobody has written to for 30 days. `persistentInterval`:
  // note the time of the oldest one.
  virtual void ScanFiles(bool persistentInterval);
  // Removes each record from the list once it is stored whole; the others stay in the list. True
  // when the list is empty.
  virtual bool Append(RecordList& records);
  // What Append does after each record.
  void SetOnStored(OnStored onStored) { onStored_ = std::move(onStored); }
  // Moves all cached records to the end of the list, oldest first, and deletes their files. A file
  // that another manager has open is skipped, one that is much too large is passed over. If memory
  // runs out, the file that was being read stays, and none of its records is in the list.
  virtual void Load(RecordList& records);
  virtual void SetLimits(uint32_t maxFiles, uint32_t maxFileSize);
  // Deletes the files, whatever their age. A file that another manager has open stays.
  virtual void DeleteAll();
  // 0 when the list of files has no such index.
  virtual int GetFileSequence(size_t index) const;

  // As Load, but stops after the first file that has a record, so that a crash does not lose the
  // whole cache from memory.
  void LoadOldest(RecordList& records);
  // False when the file could not be deleted. Unless the file is only in use, that disables the
  // cache.
  bool DeleteFile(int sequence);

  // True when no file can be created, or after DeleteFile or DeleteAll have failed to delete a
  // file. Append then fails; Load still works.
  bool Disabled() const { return disabled_; }
  const std::string& Prefix() const { return directory_.Prefix(); }
  size_t FileCount() const { return directory_.Files().size(); }
  // Of all known files, without those passed over, in bytes, at most INT32_MAX.
  int TotalSize() const { return ToInt(directory_.TotalSize()); }
  // When the oldest file that the last scan kept was last written to; 0 for none, or if that scan
  // did not note it.
  int64_t OldestTime() const { return oldestTime_; }

  // Errors, and files deleted because of their age, since the process started. Any thread.
  static uint32_t ErrorCount();
  static uint32_t AgedFileCount();

 private:
  static int64_t SystemClock();

  int64_t Expiry() const;
  bool AppendToOneFile(RecordList& records);
  void EnforceLimit();
  int64_t MaxLoadSize() const;
  bool LoadFile(int sequence, RecordList& records);
  bool OpenToLoad(int sequence, TavFile& file);
  bool PassOver(int sequence, const char* cannot);
  CacheDirectory::Deletion TryToDelete(int sequence);

  CacheDirectory directory_;
  OnStored onStored_;
  const Clock clock_;
  uint32_t maxFiles_ = kDefaultMaxFiles;
  uint32_t maxFileSize_ = kDefaultMaxFileSize;
  bool disabled_ = false;
  int64_t oldestTime_ = 0;
};

}  // namespace Tav
