// Built records that the server has not accepted yet: those of this run in memory (RunRecords), and
// those in the cache on disk (CachedRecords), of which one file at a time is also in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "cache/cache_manager.h"
#include "model/built_record.h"
#include "session/cached_records.h"
#include "session/intake.h"
#include "session/refused_records.h"
#include "session/run_journal.h"
#include "session/run_records.h"
#include "session/send_schedule.h"
#include "session/unsent_changes.h"

namespace Tav {

// The source of the records that RecordStore gets during a send: one by one, each while the one
// before it is on its way.
class RecordSupply {
 public:
  RecordSupply() = default;
  RecordSupply(const RecordSupply&) = delete;
  RecordSupply& operator=(const RecordSupply&) = delete;

  // Whether no events are left that belong to the send.
  virtual bool Exhausted() const = 0;
  // Appends the next record to the store if there is room for it.
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
  // During a send: prepares room and gets one more record from the supply, unless a few are ready.
  // False if there is nothing to get.
  bool PrepareNext();
  // Whether the supply has more.
  bool SupplyLeft() const { return supply_ != nullptr && !supply_->Exhausted(); }
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
  // Remove the oldest record in memory: the server has accepted it, or the host has it now.
  void RemoveAccepted() { changes_.OnAccepted(TakeOldest()->carried); }
  void RemovePulled() { changes_.OnLost(TakeOldest()->carried); }

  // A send calls BeginSend, then NextToSend for each record. NextToSend is like Oldest, but passes
  // over refused records, which stay behind all others. Null also when only those are left. Gets a
  // record from the supply before it loads a cache file.
  void BeginSend() { refused_.BeginSend(); }
  const BuiltRecord* NextToSend();
  // Moves the oldest record in memory to the cache, behind the others: the server has refused it.
  // Drops it, with a warning, when it is too old to be tried again.
  void SetRefused(int status);
  bool HasRefused() const { return !refused_.Empty(); }
  // Whether all records that are left are refused ones.
  bool HasOnlyRefused() const;
  // From now on the refused records are treated like any others.
  void RetryRefused() { refused_.Clear(); }

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
  // Whether one record in memory is the only one, the cache has no other, and no supply is left.
  bool HasOne() const;
  // Bytes of cache files, also of the one whose records are in memory; 0 when the cache must not be
  // used.
  int64_t CacheSize() const { return cached_.Size(); }
  bool HasCacheFiles() const { return cached_.HasFiles(); }
  // See CacheManager::OldestTime.
  int64_t OldestCached() const { return cached_.OldestTime(); }
  // The source of more records of this run. Borrowed; null for none.
  void SetSupply(RecordSupply* supply) { supply_ = supply; }

  // What a send could deliver: leaves out cache files that could not be loaded and refused records.
  SendSchedule::Backlog Backlog() const;

  // Borrowed; null for none. Learns which part of a cache file is no longer needed.
  void SetLeaseLog(LeaseLog* log) { cached_.SetLeaseLog(log); }
  // Borrowed; null for none. Is told before a cache file is loaded.
  void SetLoadObserver(CachedRecords::LoadObserver* observer) { cached_.SetLoadObserver(observer); }
  // After OpenCache, while no file is loaded: see CacheManager::DropAccepted.
  void DropAccepted(const LeaseNote& note) { cached_.DropAccepted(note); }

 private:
  const BuiltRecord* FirstInMemory() const;
  const BuiltRecord* NextNotRefused();
  std::unique_ptr<BuiltRecord> TakeOldest();
  void MoveBehindOthers();
  void ReturnLease();
  CarriedData CarriedInMemory() const;

  const Consent consent_;
  UnsentChanges& changes_;
  RunRecords run_;
  CachedRecords cached_;
  RefusedRecords refused_;
  RecordSupply* supply_ = nullptr;
  Meanwhile* meanwhile_ = nullptr;
  bool flushFailed_ = false;
};

}  // namespace Tav
