// The order in which a send delivers the records of the store, those that are built meanwhile, and
// those that the server has refused.
#pragma once

#include "model/built_record.h"
#include "session/record_store.h"
#include "session/refused_records.h"
#include "session/send_schedule.h"

namespace Tav {

// The source of the records that are built during a send: one by one, each while the one before it
// is on its way.
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
class SendQueue {
 public:
  // Borrows both.
  SendQueue(RecordStore& store, RecordSupply& supply) : store_(store), supply_(supply) {}

  // A send calls BeginSend, then Next for each record. Next is like RecordStore::Oldest, but passes
  // over refused records, which stay behind all others. Null also when only those are left. Gets a
  // record from the supply before it loads a cache file.
  void BeginSend() { refused_.BeginSend(); }
  const BuiltRecord* Next();
  // During a send: prepares room and gets one more record from the supply, unless a few are ready.
  // False if there is nothing to get.
  bool PrepareNext();
  // Whether the supply has more.
  bool SupplyLeft() const { return !supply_.Exhausted(); }
  // Whether one record in memory is the only one, the cache has no other, and no supply is left.
  bool HasOne() const { return !SupplyLeft() && store_.HasOne(); }

  // Moves the oldest record in memory to the cache, behind the others: the server has refused it.
  // Drops it, with a warning, when it is too old to be tried again.
  void SetRefused(int status);
  bool HasRefused() const { return !refused_.Empty(); }
  // Whether all records that are left are refused ones.
  bool HasOnlyRefused() const;
  // From now on the refused records are treated like any others.
  void RetryRefused() { refused_.Clear(); }

  // What a send could deliver: leaves out cache files that could not be loaded and refused records.
  SendSchedule::Backlog Backlog() const;

 private:
  const BuiltRecord* NextNotRefused();

  RecordStore& store_;
  RecordSupply& supply_;
  RefusedRecords refused_;
};

}  // namespace Tav
