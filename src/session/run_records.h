// The records of this run that are in memory. The events of a record stay in the journal until the
// record leaves or is in the cache.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "model/built_record.h"
#include "session/run_journal.h"
#include "session/unsent_changes.h"

namespace Tav {

// Session thread only. Blocks as the disk does.
class RunRecords {
 public:
  // Borrows the journal, whose events the records settle.
  explicit RunRecords(RunJournal& journal) : journal_(journal) {}

  // Bytes. Records from the host may exceed it.
  void SetMaxMemory(int maxMemorySize) { maxMemorySize_ = maxMemorySize; }
  int MaxMemory() const { return maxMemorySize_; }
  bool Full() const { return records_.Bytes() > maxMemorySize_; }

  // A record built in this run, whose events are in the journal.
  void Append(std::unique_ptr<BuiltRecord> record);
  // A record from the host.
  void Push(std::unique_ptr<BuiltRecord> record) { records_.Append(std::move(record)); }
  // Removes the oldest record.
  std::unique_ptr<BuiltRecord> TakeFirst();
  // For records that move and do not leave.
  RecordList& List() { return records_; }
  const RecordList& List() const { return records_; }

  // The record has left, or is stored in the cache.
  void Settle(const BuiltRecord& record);
  // Whether there is a record whose events are in the journal.
  bool HasUnsettled() const { return held_ || settled_ < logEnd_; }
  // A record has moved behind others that settle later events. Nothing is settled until all records
  // have left.
  void Hold() { held_ = true; }
  // Call it when records may have left.
  void ReleaseHold();
  // See RunJournal::Refill.
  void PrepareRoom() { journal_.Refill(); }

  // More bytes than this must not stay in memory.
  int64_t Bound() const;
  // Drops the oldest records, with a warning, until the others are within the bound.
  void DropBeyondBound(UnsentChanges& changes);

  // The records that a later run would not find.
  struct Unprotected {
    int count = 0;
    int64_t bytes = 0;
  };
  Unprotected FindUnprotected() const;

 private:
  RunJournal& journal_;
  RecordList records_;
  uint64_t logEnd_ = 0;   // of the newest record, see BuiltRecord::logEnd
  uint64_t settled_ = 0;  // the same of the newest record that left
  bool held_ = false;
  int maxMemorySize_ = INT32_MAX;
};

}  // namespace Tav
