// The records in the cache on disk, as RecordStore uses them. Those of one file at a time are also
// in memory. They are not appended to the cache again unless the server refuses them. Their file
// stays until all of them are consumed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "cache/cache_manager.h"
#include "model/built_record.h"
#include "session/cached_copies.h"
#include "session/intake.h"
#include "session/unsent_changes.h"

namespace Tav {

// Session thread only. Blocks as the disk does. Empty before Open.
class CachedRecords {
 public:
  // Borrows `changes`, which learn what the loaded records carry.
  CachedRecords(Consent consent, UnsentChanges& changes) : consent_(consent), changes_(changes) {}

  // Finds the records of earlier runs; after an opt-out, deletes them.
  void Open(std::unique_ptr<CacheManager> cache, bool persistentInterval, OnStored onStored);
  // Whether the cache is open and may be used.
  bool Usable() const { return cache_ != nullptr && consent_.AllowsCache(); }

  // As CacheManager::Append. Not after an opt-out.
  bool Append(RecordList& records);
  // See RecordStore::CacheRecovered.
  bool AppendRecovered(std::unique_ptr<BuiltRecord>& record);
  // After Open, while no file is loaded: see CacheManager::DropAccepted.
  void DropAccepted(const LeaseNote& note);

  // Makes sure that records of a file are in memory. False when the cache has none. After an
  // opt-out, files that could not be deleted stay unused. Call it when no record of this run is in
  // memory.
  bool Load();
  // Of the file whose records are in memory.
  const RecordList& InMemory() const { return leased_; }
  // The place of the record in the file is kept until GiveUp.
  std::unique_ptr<BuiltRecord> TakeFirst() { return leased_.TakeFirst(); }
  // Gives up the records of the leased file up to `fileEnd`.
  void GiveUp(int64_t fileEnd);
  // Drops the records from memory. False if there are none, or if the file cannot be rewritten;
  // then they stay.
  bool ReturnLease();
  // Borrowed; null for none. Learns which part of a cache file is no longer needed.
  void SetLeaseLog(LeaseLog* log) { leaseLog_ = log; }

  // Is told before a file is loaded.
  class LoadObserver {
   public:
    virtual void BeforeLoad() = 0;

   protected:
    ~LoadObserver() = default;
  };
  // Borrowed; null for none.
  void SetLoadObserver(LoadObserver* observer) { observer_ = observer; }

  // Bytes of cache files, also of the leased one; 0 when the cache must not be used.
  int64_t Size() const { return Usable() ? cache_->TotalSize() : 0; }
  // The same without the files that could not be loaded.
  int64_t LoadableSize() const { return Size() - unloadable_; }
  // While records of a file are in memory: whether there is nothing but that file.
  bool OnlyLeased() const { return cache_->UnleasedBytes() == 0; }
  bool HasFiles() const { return cache_ != nullptr && cache_->FileCount() != 0; }
  // See CacheManager::OldestTime.
  int64_t OldestTime() const { return cache_ == nullptr ? 0 : cache_->OldestTime(); }

 private:
  void ForgetNote();
  void CheckLoaded(RecordList& loaded);

  const Consent consent_;
  UnsentChanges& changes_;
  std::unique_ptr<CacheManager> cache_;  // null until it is opened
  RecordList leased_;                    // of the cache file that the manager holds
  CachedCopies copies_;
  int64_t unloadable_ = 0;  // bytes of cache files that the last load could not open
  LeaseLog* leaseLog_ = nullptr;
  LoadObserver* observer_ = nullptr;
};

}  // namespace Tav
