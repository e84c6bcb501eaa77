// Built records that the server has not accepted yet: those of this run in memory (RunRecords), and
// those in the cache on disk (CachedRecords), of which one file at a time is also in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "cache/cache_manager.h"
#include "model/built_record.h"
#include "session/cached_records.h"
#include "session/intake.h"
#include "session/run_journal.h"
#include "session/run_records.h"
#include "session/unsent_changes.h"

namespace Tav {

// Session thread only. Blocks as the disk does.
class RecordStore {
 public:
  // Borrows `changes`, which learn what becomes of the records, and the journal, whose events they
  // settle.
  RecordStore(Consent consent, UnsentChanges& changes, RunJournal& journal)
      : consent_(consent), changes_(changes), run_(journal), cached_(consent, changes) {}

  // Bytes of records in memory. Records from the host may exceed it.
  void SetMaxMemory(int maxMemorySize) { run_.SetMaxMemory(maxMemorySize); }
  int MaxMemory() const { return run_.MaxMemory(); }
  // Finds the records of earlier runs; after an opt-out, deletes them. Before this call, and if it
  // throws, the store works in memory only.
  void OpenCache(std::unique_ptr<CacheManager> cache, bool persistentInterval);

  void Append(std::unique_ptr<BuiltRecord> record) { run_.Append(std::move(record)); }
  // Call it between two steps of work that may take a while.
  void PrepareRoom() {
    run_.PrepareRoom();
    if (meanwhile_ != nullptr) {
      meanwhile_->Serve();
    }
  }
  // What PrepareRoom also does. Borrowed; null for nothing.
  class Meanwhile {
   public:
    virtual void Serve() = 0;

   protected:
    ~Meanwhile() = default;
  };
  void SetMeanwhile(Meanwhile* meanwhile) { meanwhile_ = meanwhile; }
  // Whether the records of this run take more than their maximum of memory.
  bool Full() const { return run_.Full(); }
  // Whether a record is in memory whose events are in the journal.
  bool HasUnsettled() const { return run_.HasUnsettled(); }
  // Writes a record of a dead run to the cache. False, and the record stays the caller's, if it
  // cannot be stored.
  bool CacheRecovered(std::unique_ptr<BuiltRecord>& record) {
    return cached_.AppendRecovered(record);
  }
  // Appends a record from the host. After an opt-out, drops it and returns false.
  bool Push(std::unique_ptr<BuiltRecord> record);
  // The oldest record, borrowed. Loads a cache file when no record is in memory. Null when the
  // store is empty.
  const BuiltRecord* Oldest();
  // Remove the oldest record in memory: the server has accepted it, the host has it now, or it is
  // too old.
  void RemoveAccepted() { changes_.OnAccepted(TakeOldest()->carried); }
  void RemovePulled() { changes_.OnLost(TakeOldest()->carried); }
  void RemoveOutdated() { changes_.OnLost(TakeOldest()->carried); }
  // Moves the oldest record in memory to the end of the cache, or of the records in memory if it
  // cannot be cached.
  void MoveBehindOthers();

  // Moves the records of this run from memory to the cache, and drops those of a cache file from
  // memory. Records that cannot be cached stay in memory. True when none is left or the cache must
  // not be used.
  bool Flush();
  // Drops the oldest records in memory, with a warning, until they take no more than a multiple of
  // the maximum. Begins with those of a leased cache file: they are still on disk.
  void BoundMemory();
  // Whether a flush failed since the last call.
  bool TakeFlushFailed() { return std::exchange(flushFailed_, false); }

  // The records in memory that a later run would not find.
  using Unprotected = RunRecords::Unprotected;
  Unprotected FindUnprotected() const { return run_.FindUnprotected(); }

  // False after an opt-out.
  bool UsesCache() const { return consent_.AllowsCache(); }
  // Those of this run, without those of a cache file.
  const RecordList& InMemory() const { return run_.List(); }
  // No record in memory at all.
  bool NothingInMemory() const { return cached_.InMemory().Empty() && run_.List().Empty(); }
  size_t CountInMemory() const { return cached_.InMemory().Count() + run_.List().Count(); }
  // Borrowed; null if none is in memory.
  const BuiltRecord* FirstInMemory() const;
  // Whether one record in memory is the only one and the cache has no other.
  bool HasOne() const;
  // Bytes of cache files, also of the one whose records are in memory; 0 when the cache must not be
  // used.
  int64_t CacheSize() const { return cached_.Size(); }
  // The same without the files that could not be loaded.
  int64_t LoadableCacheSize() const { return cached_.LoadableSize(); }
  bool HasCacheFiles() const { return cached_.HasFiles(); }
  // See CacheManager::OldestTime.
  int64_t OldestCached() const { return cached_.OldestTime(); }
  // Borrowed; null for none. Learns which part of a cache file is no longer needed.
  void SetLeaseLog(LeaseLog* log) { cached_.SetLeaseLog(log); }
  // Borrowed; null for none. Is told before a cache file is loaded.
  void SetLoadObserver(CachedRecords::LoadObserver* observer) { cached_.SetLoadObserver(observer); }
  // After OpenCache, while no file is loaded: see CacheManager::DropAccepted.
  void DropAccepted(const LeaseNote& note) { cached_.DropAccepted(note); }

 private:
  std::unique_ptr<BuiltRecord> TakeOldest();
  void ReturnLease();
  CarriedData CarriedInMemory() const;

  const Consent consent_;
  UnsentChanges& changes_;
  RunRecords run_;
  CachedRecords cached_;
  Meanwhile* meanwhile_ = nullptr;
  bool flushFailed_ = false;
};

}  // namespace Tav
