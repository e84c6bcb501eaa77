// Built records that the server has not accepted yet: in memory, and in the cache on disk.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "cache/cache_manager.h"
#include "model/built_record.h"
#include "session/cached_copies.h"
#include "session/intake.h"
#include "session/refused_records.h"
#include "session/send_schedule.h"
#include "session/unsent_changes.h"

namespace Tav {

// Session thread only. Blocks as the disk does.
class RecordStore {
 public:
  // Borrows `changes`, which learn what becomes of the records.
  RecordStore(Consent consent, UnsentChanges& changes) : consent_(consent), changes_(changes) {}

  // Finds the records of earlier runs; after an opt-out, deletes them. Before this call, and if it
  // throws, the store works in memory only.
  void OpenCache(std::unique_ptr<CacheManager> cache, bool persistentInterval);

  void Append(std::unique_ptr<BuiltRecord> record) { records_.Append(std::move(record)); }
  // Appends a record from the host. After an opt-out, drops it and returns false.
  bool Push(std::unique_ptr<BuiltRecord> record);
  // The oldest record, borrowed. Loads a cache file when no record is in memory. Null when the
  // store is empty.
  const BuiltRecord* Oldest();
  // Remove the oldest record in memory: the server has accepted it, or the host has it now.
  void RemoveAccepted() { changes_.OnAccepted(records_.TakeFirst()->carried); }
  void RemovePulled() { changes_.OnLost(records_.TakeFirst()->carried); }

  // Sends go through the records with NextToSend, from BeginSend on. The result is as that of
  // Oldest, but passes over refused records; null also when only those are left. They stay behind
  // all others.
  void BeginSend() { refused_.BeginSend(); }
  const BuiltRecord* NextToSend();
  // Moves the oldest record in memory to the cache, behind the others: the server has refused it.
  // Drops it, with a warning, when it is too old to be tried again.
  void SetRefused(int status);
  bool HasRefused() const { return !refused_.Empty(); }
  // Whether no other record is left.
  bool HasOnlyRefused() const;
  // The refused records count as any others again.
  void RetryRefused() { refused_.Clear(); }

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
  // What a send could deliver: leaves out cache files that could not be loaded and refused records.
  SendSchedule::Backlog Backlog() const;

 private:
  bool LoadCacheRecords();
  void CheckLoadedRecords();
  void CacheBehindOthers(RecordList records);
  CarriedData CarriedInMemory() const;

  const Consent consent_;
  UnsentChanges& changes_;
  RecordList records_;
  CachedCopies copies_;
  RefusedRecords refused_;
  std::unique_ptr<CacheManager> cache_;  // null until it is opened
  int64_t unloadable_ = 0;               // bytes of cache files that the last load could not open
  bool flushFailed_ = false;
};

}  // namespace Tav
