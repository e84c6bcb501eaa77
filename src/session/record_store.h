// Built records that the server has not accepted yet: in memory, and in the cache on disk. The
// records of one cache file at a time are in memory, too. They are older than those built in this
// run, are never appended to the cache again, and their file stays until all of them are gone.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "cache/cache_manager.h"
#include "model/built_record.h"
#include "session/cached_copies.h"
#include "session/intake.h"
#include "session/refused_records.h"
#include "session/run_journal.h"
#include "session/send_schedule.h"
#include "session/unsent_changes.h"

namespace Tav {

// Appends records to the store when there is room for them.
class RecordSupply {
 public:
  RecordSupply() = default;
  RecordSupply(const RecordSupply&) = delete;
  RecordSupply& operator=(const RecordSupply&) = delete;

  virtual bool Exhausted() const = 0;
  virtual void Supply() = 0;

 protected:
  ~RecordSupply() = default;
};

// Session thread only. Blocks as the disk does.
class RecordStore {
 public:
  // Borrows `changes`, which learn what becomes of the records, and the journal, whose events they
  // settle.
  RecordStore(Consent consent, UnsentChanges& changes, RunJournal& journal)
      : consent_(consent), changes_(changes), journal_(journal) {}

  // Bytes of records in memory. Records from the host may pass it.
  void SetMaxMemory(int maxMemorySize) { maxMemorySize_ = maxMemorySize; }
  // Finds the records of earlier runs; after an opt-out, deletes them. Before this call, and if it
  // throws, the store works in memory only.
  void OpenCache(std::unique_ptr<CacheManager> cache, bool persistentInterval);

  void Append(std::unique_ptr<BuiltRecord> record);
  // Between two steps of work that may take a while.
  void PrepareRoom() { journal_.Refill(); }
  // Whether the records of this run take their maximum of memory or more.
  bool Full() const { return records_.Bytes() > maxMemorySize_; }
  // Whether a record is in memory whose events are in the journal.
  bool HasUnsettled() const { return settled_ < logEnd_; }
  // Writes a record of a dead run to the cache. False, and the record stays the caller's, if it
  // cannot be stored.
  bool CacheRecovered(std::unique_ptr<BuiltRecord>& record);
  // Appends a record from the host. After an opt-out, drops it and returns false.
  bool Push(std::unique_ptr<BuiltRecord> record);
  // The oldest record, borrowed. Loads a cache file when no record is in memory. Null when the
  // store is empty.
  const BuiltRecord* Oldest();
  // Remove the oldest record in memory: the server has accepted it, or the host has it now.
  void RemoveAccepted() { changes_.OnAccepted(TakeOldest()->carried); }
  void RemovePulled() { changes_.OnLost(TakeOldest()->carried); }

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

  // Moves the records of this run from memory to the cache, and drops those of a cache file from
  // memory. Records that cannot be cached stay in memory. True when none is left or the cache must
  // not be used.
  bool Flush();
  // Drops the oldest records in memory, with a warning, until they take no more than a multiple of
  // the maximum. First of all those of a cache file, which has them.
  void BoundMemory();
  // Whether a flush failed since the last call.
  bool TakeFlushFailed() { return std::exchange(flushFailed_, false); }

  // The records in memory that a later run would not find.
  struct Unprotected {
    int count = 0;
    int64_t bytes = 0;
  };
  Unprotected FindUnprotected() const;

  // False after an opt-out.
  bool UsesCache() const { return consent_.AllowsCache(); }
  // Those of this run, without those of a cache file.
  const RecordList& InMemory() const { return records_; }
  // No record in memory at all.
  bool NothingInMemory() const { return leased_.Empty() && records_.Empty(); }
  // Whether a record in memory is the only one, also in the cache, and no supply is left.
  bool HasOne() const;
  // Bytes of cache files, also of the one whose records are in memory; 0 when the cache must not be
  // used.
  int64_t CacheSize() const;
  bool HasCacheFiles() const { return cache_ != nullptr && cache_->FileCount() != 0; }
  // See CacheManager::OldestTime.
  int64_t OldestCached() const { return cache_ == nullptr ? 0 : cache_->OldestTime(); }
  // Borrowed; null for none. Where NextToSend gets more records of this run when memory is empty.
  void SetSupply(RecordSupply* supply) { supply_ = supply; }

  // What a send could deliver: leaves out cache files that could not be loaded and refused records.
  SendSchedule::Backlog Backlog() const;

  // Borrowed; null for none. Learns which part of a cache file is no longer needed.
  void SetLeaseLog(LeaseLog* log) { leaseLog_ = log; }
  // After OpenCache, before anything is loaded: see CacheManager::DropAccepted.
  void DropAccepted(const LeaseNote& note);

 private:
  std::unique_ptr<BuiltRecord> TakeFirst();
  void Settle(const BuiltRecord& record);
  bool LoadCacheRecords();
  void CheckLoadedRecords(RecordList& loaded);
  const BuiltRecord* FirstInMemory() const;
  std::unique_ptr<BuiltRecord> TakeOldest();
  void MoveBehindOthers();
  void GiveUp(int64_t fileEnd);
  void ReturnLease();
  CarriedData CarriedInMemory() const;

  const Consent consent_;
  UnsentChanges& changes_;
  RunJournal& journal_;
  RecordList leased_;   // of the cache file that the manager holds
  RecordList records_;  // of this run
  CachedCopies copies_;
  RefusedRecords refused_;
  std::unique_ptr<CacheManager> cache_;  // null until it is opened
  int64_t unloadable_ = 0;               // bytes of cache files that the last load could not open
  uint64_t logEnd_ = 0;                  // of the newest record, see BuiltRecord::logEnd
  uint64_t settled_ = 0;                 // the same of the newest record that left
  int maxMemorySize_ = INT32_MAX;
  bool flushFailed_ = false;
  LeaseLog* leaseLog_ = nullptr;
  RecordSupply* supply_ = nullptr;
};

}  // namespace Tav
