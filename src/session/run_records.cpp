#include "session/run_records.h"

#include <algorithm>

#include "util/logger.h"

namespace Tav {

namespace {

// Records that cannot be cached stay in memory, up to this multiple of the size at which they are
// flushed.
constexpr int kMemoryBoundFactor = 16;

}  // namespace

void RunRecords::Append(std::unique_ptr<BuiltRecord> record) {
  // A record without events settles none.
  if (record->logEnd > logEnd_) {
    logEnd_ = record->logEnd;
  } else {
    record->logEnd = 0;
  }
  records_.Append(std::move(record));
  journal_.Refill();
}

std::unique_ptr<BuiltRecord> RunRecords::TakeFirst() {
  std::unique_ptr<BuiltRecord> record = records_.TakeFirst();
  Settle(*record);
  ReleaseHold();
  return record;
}

void RunRecords::ReleaseHold() {
  if (held_ && records_.Empty()) {
    held_ = false;
    journal_.Settle(settled_);
  }
}

// Settles the events of the record, and those before it that a rule dropped. Records leave in the
// order of their events. Does nothing if the record has settled its events before.
void RunRecords::Settle(const BuiltRecord& record) {
  if (record.logEnd > settled_) {
    settled_ = record.logEnd;
    if (!held_) {
      journal_.Settle(settled_);
    }
  }
}

int64_t RunRecords::Bound() const {
  return int64_t{maxMemorySize_} * kMemoryBoundFactor;
}

void RunRecords::DropBeyondBound(UnsentChanges& changes) {
  int count = 0;
  int64_t bytes = 0;
  while (records_.Bytes() > Bound() && !records_.Empty()) {
    const std::unique_ptr<BuiltRecord> dropped = TakeFirst();
    changes.OnLost(dropped->carried);
    bytes += dropped->Size();
    ++count;
  }
  if (count > 0) {
    LogWarning("SM: Memory bound reached. Dropped the %d oldest records (%d bytes)", count,
               static_cast<int>(bytes));
  }
}

// The events of a record begin where those of the record before it end. One that has moved behind
// others counts as if it began with the first unsettled event.
RunRecords::Unprotected RunRecords::FindUnprotected() const {
  Unprotected found;
  uint64_t end = settled_;
  for (const BuiltRecord* record = records_.First(); record; record = record->next.get()) {
    const bool settled = record->logEnd == 0 || (!held_ && record->logEnd <= settled_);
    if (settled || !journal_.Keeps(record->logEnd > end ? end : settled_, record->logEnd)) {
      ++found.count;
      found.bytes += record->Size();
    }
    end = std::max(end, record->logEnd);
  }
  return found;
}

}  // namespace Tav
