#include "session/record_store.h"

#include <algorithm>
#include <utility>

#include "util/logger.h"

namespace Tav {

void RecordStore::OpenCache(std::unique_ptr<CacheManager> cache, bool persistentInterval) {
  cached_.Open(std::move(cache), persistentInterval,
               [this](const BuiltRecord& record) { run_.Settle(record); });
}

bool RecordStore::Push(std::unique_ptr<BuiltRecord> record) {
  if (consent_.AllowsReports()) {
    run_.Push(std::move(record));
  }
  return consent_.AllowsReports();
}

bool RecordStore::HasOne() const {
  if (cached_.InMemory().Empty()) {
    return run_.List().HasOne() && CacheSize() == 0;
  }
  return cached_.InMemory().HasOne() && run_.List().Empty() && cached_.OnlyLeased();
}

const BuiltRecord* RecordStore::Oldest() {
  PrepareRoom();
  return NothingInMemory() && !cached_.Load() ? nullptr : FirstInMemory();
}

const BuiltRecord* RecordStore::FirstInMemory() const {
  return cached_.InMemory().Empty() ? run_.List().First() : cached_.InMemory().First();
}

// Its place in a leased file is given up only after it was moved.
void RecordStore::MoveBehindOthers() {
  const bool leased = !cached_.InMemory().Empty();
  RecordList moved;
  moved.Append(leased ? cached_.TakeFirst() : run_.List().TakeFirst());
  const int64_t fileEnd = moved.First()->fileEnd;
  try {
    if (cached_.Usable()) {
      flushFailed_ = !cached_.Append(moved) || flushFailed_;
    }
  } catch (...) {
    run_.Hold();
    run_.List().AppendAll(std::move(moved));
    throw;
  }
  if (!moved.Empty()) {
    run_.Hold();
  }
  run_.List().AppendAll(std::move(moved));
  run_.ReleaseHold();
  if (leased) {
    cached_.GiveUp(fileEnd);
  }
  changes_.OnFlushed(CarriedInMemory());
}

// The file is deleted after its last record. If the process dies before that, a record that is
// noted is not sent again.
std::unique_ptr<BuiltRecord> RecordStore::TakeOldest() {
  if (cached_.InMemory().Empty()) {
    return run_.TakeFirst();
  }
  std::unique_ptr<BuiltRecord> record = cached_.TakeFirst();
  cached_.GiveUp(record->fileEnd);
  return record;
}

void RecordStore::ReturnLease() {
  if (cached_.ReturnLease()) {
    changes_.OnFlushed(CarriedInMemory());
  }
}

bool RecordStore::Flush() {
  if (NothingInMemory() || !consent_.AllowsCache()) {
    return true;
  }
  TAV_DEBUG("SM: Flushing records to cache");
  ReturnLease();
  if (run_.List().Empty()) {
    return cached_.InMemory().Empty();
  }
  const bool stored = cached_.Append(run_.List());
  run_.ReleaseHold();
  changes_.OnFlushed(CarriedInMemory());
  flushFailed_ = flushFailed_ || !stored;
  return stored;
}

CarriedData RecordStore::CarriedInMemory() const {
  CarriedData latest;
  for (const RecordList* list : {&cached_.InMemory(), &InMemory()}) {
    for (const BuiltRecord* record = list->First(); record; record = record->next.get()) {
      latest.product = std::max(latest.product, record->carried.product);
      latest.machine = std::max(latest.machine, record->carried.machine);
    }
  }
  return latest;
}

void RecordStore::BoundMemory() {
  if (cached_.InMemory().Bytes() + run_.List().Bytes() > run_.Bound()) {
    ReturnLease();
  }
  run_.DropBeyondBound(changes_);
}

}  // namespace Tav
