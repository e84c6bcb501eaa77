#include "session/record_store.h"

#include <algorithm>
#include <utility>

#include "util/logger.h"
#include "util/time_stamp.h"

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

SendSchedule::Backlog RecordStore::Backlog() const {
  // Negative if the cache takes no records: refused ones are then in memory.
  const int64_t cache = cached_.LoadableSize() - refused_.Bytes();
  return {std::max<int64_t>(run_.List().Bytes() + std::min<int64_t>(cache, 0), 0),
          std::max<int64_t>(cache, 0)};
}

bool RecordStore::HasOne() const {
  if (SupplyLeft()) {
    return false;
  }
  if (cached_.InMemory().Empty()) {
    return run_.List().HasOne() && CacheSize() == 0;
  }
  return cached_.InMemory().HasOne() && run_.List().Empty() && cached_.OnlyLeased();
}

const BuiltRecord* RecordStore::Oldest() {
  PrepareRoom();
  return NothingInMemory() && !cached_.Load() ? nullptr : FirstInMemory();
}

bool RecordStore::PrepareNext() {
  // With the one on its way. More would fill the memory when the server is slow.
  constexpr size_t kMaxReady = 3;
  PrepareRoom();
  if (!SupplyLeft() || run_.List().Count() >= kMaxReady) {
    return false;
  }
  const int64_t before = run_.List().Bytes();
  supply_->Supply();
  return run_.List().Bytes() > before;
}

const BuiltRecord* RecordStore::NextToSend() {
  if (NothingInMemory() && SupplyLeft()) {
    supply_->Supply();
  }
  const BuiltRecord* const next = NextNotRefused();
  if (next != nullptr || !SupplyLeft()) {
    return next;
  }
  supply_->Supply();  // refused records are in memory
  return NextNotRefused();
}

// The cache is a queue. A refused record goes back to its end. When one comes up for the second
// time, everything that was in the cache before has come up once, so only records in memory are
// left.
const BuiltRecord* RecordStore::NextNotRefused() {
  constexpr size_t kAll = SIZE_MAX;
  size_t left = kAll;
  const BuiltRecord* next = Oldest();
  while (next != nullptr && refused_.Contains(*next)) {
    if (!refused_.MeetFirst(*next) && left == kAll) {
      left = cached_.InMemory().Count() + run_.List().Count();
    }
    MoveBehindOthers();
    left -= left == kAll ? 0 : 1;
    next = left == kAll ? Oldest() : left == 0 ? nullptr : FirstInMemory();
  }
  return next;
}

const BuiltRecord* RecordStore::FirstInMemory() const {
  return cached_.InMemory().Empty() ? run_.List().First() : cached_.InMemory().First();
}

void RecordStore::SetRefused(int status) {
  const BuiltRecord& record = *FirstInMemory();
  if (IsOutdated(record, CurrentTime())) {
    LogWarning("SM: Server refused a record of %d bytes with status %d. It is too old. Dropped it",
               record.Size(), status);
    changes_.OnLost(TakeOldest()->carried);
    return;
  }
  LogWarning("SM: Server refused a record of %d bytes with status %d. It is tried again later",
             record.Size(), status);
  refused_.Add(record);
  MoveBehindOthers();
}

// Moves the oldest record in memory to the end of the cache, or of the records in memory if it
// cannot be cached. Its place in a leased file is given up only after that.
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

bool RecordStore::HasOnlyRefused() const {
  return HasRefused() && run_.List().Empty() && Backlog().cache == 0;
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
