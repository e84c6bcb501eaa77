#include "session/record_store.h"

#include <algorithm>
#include <utility>

#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

// Records that cannot be cached stay in memory, up to this multiple of the size at which they are
// flushed.
constexpr int kMemoryBoundFactor = 16;

// The chunk marks of a cache file do not reveal damage inside a record. A gateway would reject such
// a record at every attempt, and the records after it would never be sent. The same goes for a text
// of more than kMaxTextSize bytes. If there is no memory for zlib's state, the record counts as
// whole.
bool IsDamaged(const BuiltRecord& record) {
  MemoryInputStream bytes(record.bytes.data(), record.bytes.size());
  GZipInputStream gzip(&bytes);
  if (gzip.HasError()) {
    return false;
  }
  uint8_t text[4096];
  while (gzip.Read(text, sizeof text) == sizeof text) {
  }
  return !gzip.Complete();
}

}  // namespace

void RecordStore::OpenCache(std::unique_ptr<CacheManager> cache, bool persistentInterval) {
  cache_ = std::move(cache);
  cache_->SetOnStored([this](const BuiltRecord& record) { Settle(record); });
  cache_->ScanFiles(persistentInterval);
  if (!consent_.AllowsCache()) {
    TAV_DEBUG("SM: In opt-out mode. Deleting cache...");
    cache_->DeleteAll();
  }
}

void RecordStore::Append(std::unique_ptr<BuiltRecord> record) {
  // A record without events settles none.
  if (record->logEnd > logEnd_) {
    logEnd_ = record->logEnd;
  } else {
    record->logEnd = 0;
  }
  records_.Append(std::move(record));
  journal_.Refill();
}

std::unique_ptr<BuiltRecord> RecordStore::TakeFirst() {
  std::unique_ptr<BuiltRecord> record = records_.TakeFirst();
  Settle(*record);
  return record;
}

// The events of the record, and those before it that a rule dropped. Records leave in the order of
// their events. Does nothing for a record that settled its events before.
void RecordStore::Settle(const BuiltRecord& record) {
  if (record.logEnd > settled_) {
    journal_.Settle(record.logEnd);
    settled_ = record.logEnd;
  }
}

bool RecordStore::CacheRecovered(std::unique_ptr<BuiltRecord>& record) {
  if (cache_ == nullptr || !consent_.AllowsCache()) {
    return false;
  }
  RecordList one;
  one.Append(std::move(record));
  if (cache_->Append(one)) {
    return true;
  }
  record = one.TakeFirst();
  return false;
}

bool RecordStore::Push(std::unique_ptr<BuiltRecord> record) {
  if (consent_.AllowsReports()) {
    records_.Append(std::move(record));
  }
  return consent_.AllowsReports();
}

int64_t RecordStore::CacheSize() const {
  return cache_ == nullptr || !consent_.AllowsCache() ? 0 : cache_->TotalSize();
}

SendSchedule::Backlog RecordStore::Backlog() const {
  // Below 0 if the cache takes no records, so that refused ones are in memory.
  const int64_t cache = CacheSize() - unloadable_ - refused_.Bytes();
  return {std::max<int64_t>(records_.Bytes() + std::min<int64_t>(cache, 0), 0),
          std::max<int64_t>(cache, 0)};
}

bool RecordStore::HasOne() const {
  if (supply_ != nullptr && !supply_->Exhausted()) {
    return false;
  }
  if (leased_.Empty()) {
    return records_.HasOne() && CacheSize() == 0;
  }
  return leased_.HasOne() && records_.Empty() && cache_->UnleasedBytes() == 0;
}

const BuiltRecord* RecordStore::Oldest() {
  journal_.Refill();
  return NothingInMemory() && !LoadCacheRecords() ? nullptr : FirstInMemory();
}

// The cache is a queue, and a refused record that is met goes to its end. So when one is met for
// the second time, everything that was in the cache before it has been met, and only what is in
// memory is left.
const BuiltRecord* RecordStore::NextToSend() {
  constexpr size_t kAll = SIZE_MAX;
  size_t left = kAll;
  if (NothingInMemory() && supply_ != nullptr && !supply_->Exhausted()) {
    supply_->Supply();
  }
  const BuiltRecord* next = Oldest();
  while (next != nullptr && refused_.Contains(*next)) {
    if (!refused_.MeetFirst(*next) && left == kAll) {
      left = leased_.Count() + records_.Count();
    }
    MoveBehindOthers();
    left -= left == kAll ? 0 : 1;
    next = left == kAll ? Oldest() : left == 0 ? nullptr : FirstInMemory();
  }
  return next;
}

const BuiltRecord* RecordStore::FirstInMemory() const {
  return leased_.Empty() ? records_.First() : leased_.First();
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

// The oldest record in memory goes to the end of the cache, or of those in memory if it cannot be
// cached. Only then its place in a leased file is given up.
void RecordStore::MoveBehindOthers() {
  const bool leased = !leased_.Empty();
  RecordList moved;
  moved.Append(leased ? leased_.TakeFirst() : records_.TakeFirst());
  const int64_t fileEnd = moved.First()->fileEnd;
  if (consent_.AllowsCache() && cache_ != nullptr) {
    copies_.Note(moved);
    flushFailed_ = !cache_->Append(moved) || flushFailed_;
  }
  records_.AppendAll(std::move(moved));
  if (leased) {
    GiveUp(fileEnd);
  }
  changes_.OnFlushed(CarriedInMemory());
}

bool RecordStore::HasOnlyRefused() const {
  return HasRefused() && records_.Empty() && Backlog().cache == 0;
}

// Loads one file at a time. False when the cache has no record. After an opt-out, files that could
// not be deleted stay unused.
bool RecordStore::LoadCacheRecords() {
  if (cache_ == nullptr || !consent_.AllowsCache()) {
    return false;
  }
  while (leased_.Empty()) {
    RecordList loaded;
    if (!cache_->Lease(loaded)) {
      unloadable_ = cache_->TotalSize();
      return false;
    }
    unloadable_ = 0;
    TAV_DEBUG("SM: Found cache records");
    CheckLoadedRecords(loaded);
  }
  return true;
}

// Drops damaged records, and finds out which data the others carry. Throws if memory runs out; then
// the file stays as it is.
void RecordStore::CheckLoadedRecords(RecordList& loaded) try {
  while (std::unique_ptr<BuiltRecord> record = loaded.TakeFirst()) {
    if (IsDamaged(*record)) {
      LogWarning("SM: Dropped a damaged record of %d bytes from the cache", record->Size());
    } else {
      record->carried = copies_.DataOf(*record);
      changes_.OnLoaded(record->carried);
      leased_.Append(std::move(record));
    }
  }
  if (leased_.Empty()) {
    cache_->EndLease();
  }
} catch (...) {
  leased_.Clear();
  cache_->AbandonLease();
  changes_.OnFlushed(CarriedInMemory());
  throw;
}

// The file is deleted behind its last record. A record that is noted is not sent again if the
// process dies before that.
std::unique_ptr<BuiltRecord> RecordStore::TakeOldest() {
  if (leased_.Empty()) {
    return TakeFirst();
  }
  std::unique_ptr<BuiltRecord> record = leased_.TakeFirst();
  GiveUp(record->fileEnd);
  return record;
}

// The records of the leased file up to `fileEnd`.
void RecordStore::GiveUp(int64_t fileEnd) {
  cache_->Consume(fileEnd);
  LeaseNote note;
  if (leaseLog_ != nullptr && cache_->MakeNote(note)) {
    leaseLog_->Accepted(note);
  }
  if (leased_.Empty()) {
    cache_->EndLease();
  }
}

// If the file cannot be rewritten, its records stay in memory: loading them again would send some
// of them twice.
void RecordStore::ReturnLease() {
  if (!leased_.Empty() && cache_->ReturnLease(leased_)) {
    leased_.Clear();
    changes_.OnFlushed(CarriedInMemory());
  }
}

void RecordStore::DropAccepted(const LeaseNote& note) {
  if (cache_ != nullptr && consent_.AllowsCache()) {
    cache_->DropAccepted(note);
  }
}

bool RecordStore::Flush() {
  if (NothingInMemory() || !consent_.AllowsCache()) {
    return true;
  }
  TAV_DEBUG("SM: Flushing records to cache");
  ReturnLease();
  if (records_.Empty()) {
    return true;
  }
  copies_.Note(records_);
  const bool stored = cache_ != nullptr && cache_->Append(records_);
  changes_.OnFlushed(CarriedInMemory());
  flushFailed_ = flushFailed_ || !stored;
  return stored;
}

CarriedData RecordStore::CarriedInMemory() const {
  CarriedData latest;
  for (const RecordList* list : {&leased_, &records_}) {
    for (const BuiltRecord* record = list->First(); record; record = record->next.get()) {
      latest.product = std::max(latest.product, record->carried.product);
      latest.machine = std::max(latest.machine, record->carried.machine);
    }
  }
  return latest;
}

RecordStore::Unprotected RecordStore::FindUnprotected() const {
  Unprotected found;
  for (const BuiltRecord* record = records_.First(); record; record = record->next.get()) {
    if (record->logEnd <= settled_ || !journal_.HasFile()) {
      ++found.count;
      found.bytes += record->Size();
    }
  }
  return found;
}

void RecordStore::BoundMemory() {
  const int64_t bound = int64_t{maxMemorySize_} * kMemoryBoundFactor;
  if (leased_.Bytes() + records_.Bytes() > bound) {
    ReturnLease();
  }
  int count = 0;
  int64_t bytes = 0;
  while (records_.Bytes() > bound && !records_.Empty()) {
    const std::unique_ptr<BuiltRecord> dropped = TakeFirst();
    changes_.OnLost(dropped->carried);
    bytes += dropped->Size();
    ++count;
  }
  if (count > 0) {
    LogWarning("SM: Memory bound reached. Dropped the %d oldest records (%d bytes)", count,
               static_cast<int>(bytes));
  }
}

}  // namespace Tav
