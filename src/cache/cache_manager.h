// The cache: records that could not be sent yet, in numbered files of the storage directory, where
// they survive the process. docs/cache-format.md describes the files.
//
// Several managers, in one process or several, may use the files of one product at once. None waits
// for another: a file that another one has open is skipped, a file that another one has consumed is
// forgotten. A file that cannot be opened at all is passed over from then on: it is not tried
// again, is not counted and blocks no other file.
//
// The files of the product's other versions are loaded after its own, one version after the other.
// Age and limits apply to all of them together. Records are stored in the own files only.
//
// A manager is used by one thread at a time and waits only for the disk. Failures are logged and
// counted. Functions that are not const throw std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "cache/cache_file_writer.h"
#include "cache/cache_lease.h"
#include "cache/cache_loader.h"
#include "cache/cache_state.h"
#include "model/built_record.h"

namespace Tav {

class CacheManager {
 public:
  static constexpr uint32_t kDefaultMaxFiles = CacheState::kDefaultMaxFiles;
  static constexpr uint32_t kDefaultMaxFileSize = CacheState::kDefaultMaxFileSize;

  using Clock = CacheState::Clock;

  // Uses the files in `storageDirectory` (UTF-8) whose names begin with `prefix`, see CachePrefix.
  // Without that directory the cache is disabled.
  CacheManager(std::string storageDirectory, std::string prefix, Clock clock = SystemClock);
  CacheManager(const CacheManager&) = delete;
  CacheManager& operator=(const CacheManager&) = delete;

  // Tries again to delete consumed files that could not be deleted before.
  virtual ~CacheManager() = default;
  // Before ScanFiles: the prefix of another version of the product, whose files are used too.
  void AddVersion(const std::string& prefix) { state_.directories.AddVersion(prefix); }
  // Finds the files and deletes those that nobody has written to for 30 days. `persistentInterval`:
  // note the time of the oldest one.
  virtual void ScanFiles(bool persistentInterval);
  // Removes each record from the list once it is stored whole; the others stay in the list. True
  // when the list is empty.
  virtual bool Append(RecordList& records);
  // Append calls it after each record.
  void SetOnStored(OnStored onStored) { onStored_ = std::move(onStored); }
  // Moves all cached records to the end of the list, oldest first, and deletes their files. A file
  // that another manager has open is skipped, one that is much too large is passed over. If memory
  // runs out, the file that was being read stays, and none of its records is in the list.
  virtual void Load(RecordList& records) { loader_.Load(records); }
  virtual void SetLimits(uint32_t maxFiles, uint32_t maxFileSize) {
    state_.maxFiles = maxFiles;
    state_.maxFileSize = maxFileSize;
  }
  // Deletes the files, whatever their age. A file that another manager has open stays.
  virtual void DeleteAll();
  // 0 when the list of files has no such index.
  virtual int GetFileSequence(size_t index) const;

  // Appends the records of the oldest file that has one to the list, and holds the file until the
  // lease is ended. No lease may be held. If memory runs out, the file stays, and none of its
  // records is in the list. False if there is no such file.
  bool Lease(RecordList& records) { return loader_.Lease(records); }
  bool HasLease() const { return loader_.Current().Held(); }
  // Call it for each record of the leased file, in order, when the record is consumed; see
  // BuiltRecord::fileEnd.
  void Consume(int64_t fileEnd) { loader_.Current().Consume(fileEnd); }
  // False if there is nothing to note.
  bool MakeNote(LeaseNote& note) { return loader_.Current().MakeNote(note); }
  // Ends the lease after all records are consumed: deletes the file. If it cannot be deleted now,
  // it stays open and unused, and is deleted later; false then.
  bool EndLease() { return loader_.EndLease(); }
  // Ends the lease early. Takes a copy of the records that are left. False if the file could not be
  // rewritten without the consumed records; the lease is then still held.
  bool ReturnLease(const RecordList& rest) { return loader_.ReturnLease(rest); }
  // Ends the lease and leaves the file unchanged.
  void AbandonLease() { loader_.Current().Abandon(); }
  // After ScanFiles, while no file is leased: drops what an earlier run has consumed according to
  // its last note. A file whose beginning does not match the note stays as it is.
  void DropAccepted(const LeaseNote& note) { loader_.DropAccepted(note); }
  // False when the file could not be deleted. Unless the file is only in use, that disables the
  // cache.
  bool DeleteFile(int sequence) { return DeleteFrom(state_.directories.Own(), sequence); }

  // True when no file can be created, or after DeleteFile or DeleteAll have failed to delete a
  // file. Append then fails; Load still works.
  bool Disabled() const { return state_.disabled; }
  const std::string& Prefix() const { return state_.directories.Own().Prefix(); }
  size_t FileCount() const { return state_.directories.FileCount(); }
  // Of all known files, without those passed over, in bytes, at most INT32_MAX.
  int TotalSize() const { return ToInt(state_.directories.TotalSize()); }
  // The same without the leased file.
  int64_t UnleasedBytes() const {
    return state_.directories.TotalSize() - loader_.Current().Size();
  }
  // When the oldest file that the last scan kept was last written to; 0 for none, or if that scan
  // did not note it.
  int64_t OldestTime() const { return oldestTime_; }

  // Errors, and files deleted because of their age, since the process started. Any thread.
  static uint32_t ErrorCount();
  static uint32_t AgedFileCount();

 private:
  static int64_t SystemClock();

  bool AppendToOneFile(RecordList& records);
  void EnforceLimit();
  bool DeleteFrom(CacheDirectory& directory, int sequence);

  CacheState state_;
  OnStored onStored_;
  int64_t oldestTime_ = 0;
  CacheLoader loader_;
};

}  // namespace Tav
