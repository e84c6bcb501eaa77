// Built records that the server has not accepted yet: in memory, and in the cache on disk.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "cache/cache_manager.h"
#include "model/built_record.h"
#include "session/cached_copies.h"
#include "session/intake.h"
#include "session/run_journal.h"
#include "session/send_schedule.h"
#include "session/unsent_changes.h"

namespace Tav {

// Session thread only. Blocks as the disk does.
class RecordStore {
 public:
  // Borrows `changes`, which learn what becomes of the records, and the journal, whose events they
  // settle.
  RecordStore(Consent consent, UnsentChanges& changes, RunJournal& journal)
      : consent_(consent), changes_(changes), journal_(journal) {}

  // Finds the records of earlier runs; after an opt-out, deletes them. Before this call, and if it
  // throws, the store works in memory only.
  void OpenCache(std::unique_ptr<CacheManager> cache, bool persistentInterval);

  void Append(std::unique_ptr<BuiltRecord> record);
  // Whether a record is in memory whose events are in the journal.
  bool HasUnsettled() const { return unsettled_ != 0; }
  // Writes a record of a dead run to the cache. False, and the record stays the caller's, if it
  // cannot be stored.
  bool CacheRecovered(std::unique_ptr<BuiltRecord>& record);
  // Appends a record from the host. After an opt-out, drops it and returns false.
  bool Push(std::unique_ptr<BuiltRecord> record);
  // The oldest record, borrowed. Loads a cache file when no record is in memory. Null when the
  // store is empty.
  const BuiltRecord* Oldest();
  // Remove the oldest record in memory: the server has accepted it, or the host has it now.
  void RemoveAccepted() { changes_.OnAccepted(TakeFirst()->carried); }
  void RemovePulled() { changes_.OnLost(TakeFirst()->carried); }

  // Moves the records from memory to the cache. Records that cannot be cached stay in memory. True
  // when memory is empty or the cache must not be used.
  bool Flush();
  // Drops the oldest records in memory, with a warning, until they take no more than a multiple of
  // `maxMemorySize` bytes.
  void BoundMemory(int maxMemorySize);
  // Whether a flush failed since the last call.
  bool TakeFlushFailed() { return std::exchange(flushFailed_, false); }

  // False after an opt-out.
  bool UsesCache() const { return consent_.AllowsCache(); }
  const RecordList& InMemory() const { return records_; }
  // Bytes of cache files; 0 when the cache must not be used.
  int64_t CacheSize() const;
  bool HasCacheFiles() const { return cache_ != nullptr && cache_->FileCount() != 0; }
  // See CacheManager::OldestTime.
  int64_t OldestCached() const { return cache_ == nullptr ? 0 : cache_->OldestTime(); }
  // What a send could deliver: leaves out cache files that could not be loaded.
  SendSchedule::Backlog Backlog() const;

 private:
  std::unique_ptr<BuiltRecord> TakeFirst();
  void Settle(const BuiltRecord& record);
  bool LoadCacheRecords();
  void CheckLoadedRecords();
  CarriedData CarriedInMemory() const;

  const Consent consent_;
  UnsentChanges& changes_;
  RunJournal& journal_;
  RecordList records_;
  CachedCopies copies_;
  std::unique_ptr<CacheManager> cache_;  // null until it is opened
  int64_t unloadable_ = 0;               // bytes of cache files that the last load could not open
  uint64_t logEnd_ = 0;                  // of the newest record, see BuiltRecord::logEnd
  uint64_t settled_ = 0;                 // the same of the newest record that left
  int unsettled_ = 0;                    // records in memory whose events are in the journal
  bool flushFailed_ = false;
};

}  // namespace Tav
