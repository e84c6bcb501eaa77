#include "session/cached_records.h"

#include <utility>

#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "util/logger.h"

namespace Tav {

namespace {

// The chunk marks of a cache file do not reveal damage inside a record. A gateway would refuse such
// a record at every attempt. The same goes for a text of more than kMaxTextSize bytes. If zlib gets
// no memory, the record counts as whole.
bool IsDamaged(const BuiltRecord& record) {
  MemoryInputStream bytes(record.bytes.data(), record.bytes.size());
  GZipInputStream gzip(&bytes);
  uint8_t text[4096];
  while (gzip.Read(text, sizeof text) == sizeof text) {
  }
  return !gzip.Complete() && !gzip.OutOfMemory();
}

}  // namespace

void CachedRecords::Open(std::unique_ptr<CacheManager> cache,
                         bool persistentInterval,
                         OnStored onStored) {
  cache_ = std::move(cache);
  cache_->SetOnStored(std::move(onStored));
  cache_->ScanFiles(persistentInterval);
  if (!consent_.AllowsCache()) {
    TAV_DEBUG("SM: In opt-out mode. Deleting cache...");
    cache_->DeleteAll();
  }
}

bool CachedRecords::Append(RecordList& records) {
  copies_.Note(records);
  return cache_ != nullptr && cache_->Append(records);
}

bool CachedRecords::AppendRecovered(std::unique_ptr<BuiltRecord>& record) {
  if (!Usable()) {
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

void CachedRecords::DropAccepted(const LeaseNote& note) {
  if (Usable()) {
    cache_->DropAccepted(note);
  }
}

// Loads one file at a time.
bool CachedRecords::Load() {
  if (!Usable()) {
    return false;
  }
  while (leased_.Empty()) {
    if (observer_ != nullptr) {
      observer_->BeforeLoad();
    }
    RecordList loaded;
    if (!cache_->Lease(loaded)) {
      unloadable_ = cache_->TotalSize();
      return false;
    }
    unloadable_ = 0;
    TAV_DEBUG("SM: Found cache records");
    CheckLoaded(loaded);
  }
  return true;
}

// Drops damaged records and determines which data the others carry. Throws if memory runs out; the
// file then stays as it is.
void CachedRecords::CheckLoaded(RecordList& loaded) try {
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
  changes_.OnFlushed({});
  throw;
}

void CachedRecords::GiveUp(int64_t fileEnd) {
  cache_->Consume(fileEnd);
  LeaseNote note;
  if (leaseLog_ != nullptr && cache_->MakeNote(note)) {
    leaseLog_->Accepted(note);
  }
  if (leased_.Empty() && cache_->EndLease()) {
    ForgetNote();
  }
}

// Another file may get the number, and begin with the same bytes.
void CachedRecords::ForgetNote() {
  if (leaseLog_ != nullptr) {
    leaseLog_->Accepted({});
  }
}

// If the file cannot be rewritten, its records stay in memory: loading them again would send some
// of them twice.
bool CachedRecords::ReturnLease() {
  if (leased_.Empty() || !cache_->ReturnLease(leased_)) {
    return false;
  }
  leased_.Clear();
  ForgetNote();
  return true;
}

}  // namespace Tav
