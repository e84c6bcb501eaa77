// The cache: records that could not be sent yet, in numbered files of the storage directory, where
// they survive the process. docs/cache-format.md describes the files.
//
// Several managers, in one process or several, may work on the files of one product at once. None
// waits for another: what another one has in use is passed by, what it has consumed is not missed.
//
// A manager is used by one thread at a time and blocks as the disk does. Failures are logged and
// counted. Functions that are not const throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cache/cache_file_list.h"
#include "model/built_record.h"

namespace Tav {

class TavFile;

class CacheManager {
 public:
  static constexpr uint32_t kDefaultMaxFiles = 50;
  static constexpr uint32_t kDefaultMaxFileSize = 1048576;

  // Seconds since 1970.
  using Clock = int64_t (*)();

  // `storageDirectory` is UTF-8; when there is no such directory the cache is disabled. `product`
  // and `version` decide whose files these are.
  CacheManager(std::string storageDirectory,
               std::string_view product,
               std::string_view version,
               uint32_t maxFiles = kDefaultMaxFiles,
               uint32_t maxFileSize = kDefaultMaxFileSize,
               Clock clock = SystemClock);
  CacheManager(const CacheManager&) = delete;
  CacheManager& operator=(const CacheManager&) = delete;

  virtual ~CacheManager() = default;
  // Finds this product's files and deletes those that nobody has written to for 30 days.
  // `persistentInterval`: note the time of the oldest one.
  virtual void ScanFiles(bool persistentInterval);
  // Takes each record off the list once it is stored whole. What stays in the list is not stored:
  // the caller still has it. True when nothing is left.
  virtual bool Append(RecordList& records);
  // Moves all cached records to the end of the list, oldest first. Their files are gone afterwards;
  // a file in use elsewhere stays.
  virtual void Load(RecordList& records);
  virtual void SetLimits(uint32_t maxFiles, uint32_t maxFileSize);
  // Deletes this product's files of any age. A file in use elsewhere stays.
  virtual void DeleteAll();
  // 0 when the list of files has no such place.
  virtual int GetFileSequence(size_t index) const;

  // As Load, but goes no further than the first file that has a record: for a caller that would not
  // have the whole cache in memory at once, where a crash loses it.
  void LoadOldest(RecordList& records);
  // False when the file could not be deleted. That disables the cache, unless the file is only in
  // use elsewhere.
  bool DeleteFile(int sequence);

  // No appends any more: a file could not be opened or deleted, and never will be. What is cached
  // can still be loaded.
  bool Disabled() const { return disabled_; }
  const std::string& Prefix() const { return prefix_; }
  size_t FileCount() const { return files_.Count(); }
  // The sizes of all known files together in bytes, at most INT32_MAX.
  int TotalSize() const;
  // Of the files that the last scan kept; 0 when there were none or it did not note it.
  int64_t OldestTime() const { return oldestTime_; }

  // Of the process, since it began.
  static uint32_t ErrorCount();
  static uint32_t AgedFileCount();

 private:
  enum class Opening { Opened, InUse, Impossible };

  static int64_t SystemClock();

  std::string PathOf(int sequence) const;
  std::vector<std::string> ListNames() const;
  bool IsOld(int64_t modifiedAt) const;
  void ScanEntry(const std::string& name, bool noteOldest);
  void Refresh();

  bool OpenForAppend(TavFile& file, CacheFile& target);
  Opening TryToOpen(TavFile& file, const std::string& path, CacheFile& target);
  bool AppendToOneFile(RecordList& records);
  bool WriteChunks(TavFile& file, CacheFile& target, RecordList& records);
  void EnforceBound();

  std::vector<int> Sequences() const;
  bool LoadFile(int sequence, RecordList& records);

  const std::string directory_;
  const std::string prefix_;
  const Clock clock_;
  uint32_t maxFiles_;
  uint32_t maxFileSize_;
  bool disabled_ = false;
  int64_t oldestTime_ = 0;
  CacheFileList files_;
};

}  // namespace Tav
