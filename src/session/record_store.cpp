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
  cache_->ScanFiles(persistentInterval);
  if (!consent_.AllowsCache()) {
    TAV_DEBUG("SM: In opt-out mode. Deleting cache...");
    cache_->DeleteAll();
  }
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

const BuiltRecord* RecordStore::Oldest() {
  return records_.Empty() && !LoadCacheRecords() ? nullptr : records_.First();
}

// The cache is a queue, and a refused record that is met goes to its end. So when one is met for
// the second time, everything that was in the cache before it has been met.
const BuiltRecord* RecordStore::NextToSend() {
  RecordList metAgain;
  const BuiltRecord* next = Oldest();
  while (next != nullptr && refused_.Contains(*next)) {
    RecordList passed;
    const bool first = refused_.MeetFirst(*next);
    passed.Append(records_.TakeFirst());
    if (first) {
      CacheBehindOthers(std::move(passed));
    } else {
      metAgain.AppendAll(std::move(passed));
    }
    next = metAgain.Empty() ? Oldest() : records_.First();
  }
  CacheBehindOthers(std::move(metAgain));
  return next;
}

void RecordStore::SetRefused(int status) {
  RecordList refused;
  refused.Append(records_.TakeFirst());
  const BuiltRecord& record = *refused.First();
  if (IsOutdated(record, CurrentTime())) {
    LogWarning("SM: Server refused a record of %d bytes with status %d. It is too old. Dropped it",
               record.Size(), status);
    changes_.OnLost(record.carried);
    return;
  }
  LogWarning("SM: Server refused a record of %d bytes with status %d. It is tried again later",
             record.Size(), status);
  refused_.Add(record);
  CacheBehindOthers(std::move(refused));
}

// Records that cannot be cached stay in memory, behind the others.
void RecordStore::CacheBehindOthers(RecordList records) {
  if (records.Empty()) {
    return;
  }
  if (consent_.AllowsCache() && cache_ != nullptr) {
    copies_.Note(records);
    flushFailed_ = !cache_->Append(records) || flushFailed_;
  }
  records_.AppendAll(std::move(records));
  changes_.OnFlushed(CarriedInMemory());
}

bool RecordStore::HasOnlyRefused() const {
  return HasRefused() && records_.Empty() && Backlog().cache == 0;
}

// Loads one file at a time: a crash loses the records that are in memory. False when the cache has
// no record. After an opt-out, files that could not be deleted stay unused.
bool RecordStore::LoadCacheRecords() {
  if (cache_ == nullptr || !consent_.AllowsCache()) {
    return false;
  }
  do {
    cache_->LoadOldest(records_);
    if (records_.Empty()) {
      unloadable_ = cache_->TotalSize();
      return false;
    }
    unloadable_ = 0;
    TAV_DEBUG("SM: Found cache records");
    CheckLoadedRecords();
  } while (records_.Empty());
  return true;
}

// Drops damaged records, and finds out which data the others carry.
void RecordStore::CheckLoadedRecords() {
  for (size_t count = records_.Count(); count > 0; --count) {
    std::unique_ptr<BuiltRecord> record = records_.TakeFirst();
    if (IsDamaged(*record)) {
      LogWarning("SM: Dropped a damaged record of %d bytes from the cache", record->Size());
    } else {
      record->carried = copies_.DataOf(*record);
      changes_.OnLoaded(record->carried);
      records_.Append(std::move(record));
    }
  }
}

bool RecordStore::Flush() {
  if (records_.Empty() || !consent_.AllowsCache()) {
    return true;
  }
  TAV_DEBUG("SM: Flushing records to cache");
  copies_.Note(records_);
  const bool stored = cache_ != nullptr && cache_->Append(records_);
  changes_.OnFlushed(CarriedInMemory());
  flushFailed_ = flushFailed_ || !stored;
  return stored;
}

CarriedData RecordStore::CarriedInMemory() const {
  CarriedData latest;
  for (const BuiltRecord* record = records_.First(); record; record = record->next.get()) {
    latest.product = std::max(latest.product, record->carried.product);
    latest.machine = std::max(latest.machine, record->carried.machine);
  }
  return latest;
}

void RecordStore::BoundMemory(int maxMemorySize) {
  const int64_t bound = int64_t{maxMemorySize} * kMemoryBoundFactor;
  int count = 0;
  int64_t bytes = 0;
  while (records_.Bytes() > bound && !records_.Empty()) {
    const std::unique_ptr<BuiltRecord> dropped = records_.TakeFirst();
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
