// How records are built, sent, stored and taken back from the cache.
#include <utility>

#include "platform/clock.h"
#include "session/send_statistics.h"
#include "session/session_manager.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

// Records that the cache cannot take stay in memory. This many times the size at which they would
// go to disk is kept before the oldest are given up.
constexpr int kMemoryBoundFactor = 16;

// Damage in the cache does not show in its chunks' marks. A gateway would refuse such a record for
// ever, and with it all that wait behind it. Allocates nothing but zlib's state; a record that
// cannot be looked at for want of it counts as whole.
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

bool SessionManager::IsSendDue() {
  // While nothing may be sent, a threshold that is reached must not disarm the flush timer.
  const auto checkThreshold = [this] {
    if (!suspended_) {
      schedule_.CheckSendThreshold(Waiting());
    }
  };
  checkThreshold();
  bool due = schedule_.IsDue(suspended_);
  ProcessEventList(due || schedule_.FlushExpired());
  if (!schedule_.SendNow()) {
    checkThreshold();
    due = schedule_.IsDue(suspended_);
    if (schedule_.SendNow()) {
      ProcessEventList(due || schedule_.FlushExpired());
    }
  }
  return due;
}

void SessionManager::ProcessEventList(bool all) {
  if (disabled_) {
    pending_.Clear();
    return;
  }
  if (pending_.Empty() && !changed_.app) {
    return;
  }
  do {
    if (!all && overheadEstimate_ + pending_.EstimatedSize() < maxRecordSize_) {
      return;
    }
    if (std::unique_ptr<BuiltRecord> record = builder_.BuildOneJsonRecord(pending_)) {
      records_.Append(std::move(record));
      TAV_TRACE("SM: ProcessEventList: jsonRec added: totalMemoryUsed = %d",
                static_cast<int>(records_.Bytes()));
    }
  } while (!pending_.Empty());
}

// What the cache cannot take stays in memory: a full disk or a broken cache is no licence to drop.
void SessionManager::FlushToCache() {
  schedule_.OnFlushed();
  // An opt-out is remembered in the storage until it is sent; nothing else is there.
  if (records_.Empty() || config_.optOut) {
    return;
  }
  TAV_DEBUG("SM: Flushing records to cache");
  if (cache_ == nullptr || !cache_->Append(records_)) {
    cacheWriteFailed_ = true;
    schedule_.OnFlushFailed(CurrentTime());
    BoundMemory();
  }
}

void SessionManager::BoundMemory() {
  const int64_t bound = int64_t{maxMemorySize_} * kMemoryBoundFactor;
  int count = 0;
  int64_t bytes = 0;
  while (records_.Bytes() > bound && !records_.Empty()) {
    bytes += records_.TakeFirst()->Size();
    ++count;
  }
  if (count > 0) {
    LogWarning("SM: Memory bound reached. Dropped the %d oldest records (%d bytes)", count,
               static_cast<int>(bytes));
  }
}

bool SessionManager::NearFinalTermination() const {
  const int64_t deadline = finalDeadline_.load(std::memory_order_acquire);
  return deadline != 0 && Platform::MonotonicMilliseconds() >= deadline;
}

bool SessionManager::SendToServer() {
  if (disabled_) {
    return false;
  }
  if (records_.Empty() && CacheSize() == 0) {
    TAV_DEBUG("SM: SendToServer: nothing to send");
    return true;
  }
  if (NearFinalTermination()) {
    LogWarning("SM: Send canceled due to being too close to final termination");
    return false;
  }
  const bool sent = SendAllRecords();
  const int64_t now = CurrentTime();
  if (sent) {
    status_.PersistAppStatusChanges();
    status_.PersistLastServerAccessTime(now);
    schedule_.OnSent(now);
  } else {
    schedule_.OnSendFailure(now);
  }
  schedule_.OnSendDone();
  return sent;
}

bool SessionManager::SendAllRecords() {
  TAV_NOTE("SM: Connecting to server");
  bool sent = false;
  if (sender_->Open() == 0) {
    try {
      sent = SendOnConnection();
    } catch (const std::bad_alloc&) {
      LogError("SM: Out of memory");
    }
  } else {
    LogWarning("SM: Send data to server: Server connection failed");
    TAV_NOTE("SM: Sending no records");
  }
  sender_->Close();
  return sent;
}

// Records are taken out of the cache only for a server that answers.
bool SessionManager::SendOnConnection() {
  if (records_.Empty() && sender_->Send(nullptr, 0, false) != 0) {
    TAV_NOTE("SM: Sending no records");
    return false;
  }
  return SendRecords();
}

bool SessionManager::SendRecords() {
  while (!records_.Empty() || LoadCacheRecords()) {
    if (NearFinalTermination()) {
      LogWarning("SM: Send cancelled due to being too close to final termination");
      return false;
    }
    if (!SendRecord()) {
      LogWarning("SM: Send of record to server failed");
      return false;
    }
    TAV_NOTE("SM: Record sent");
  }
  return true;
}

// When no record is in memory. One cache file at a time: while its records are in memory, a crash
// loses them. False when there are none. An opted-out product's cache is nothing to send from: what
// could not be deleted of it stays where it is.
bool SessionManager::LoadCacheRecords() {
  if (cache_ == nullptr || config_.optOut) {
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
    DropDamagedRecords();
  } while (records_.Empty());
  return true;
}

void SessionManager::DropDamagedRecords() {
  for (size_t count = records_.Count(); count > 0; --count) {
    std::unique_ptr<BuiltRecord> record = records_.TakeFirst();
    if (IsDamaged(*record)) {
      LogWarning("SM: Dropped a damaged record of %d bytes from the cache", record->Size());
    } else {
      records_.Append(std::move(record));
    }
  }
}

bool SessionManager::SendRecord() {
  const BuiltRecord& record = *records_.First();
  const int size = record.Size();
  const int64_t start = Platform::MonotonicMilliseconds();
  const bool sent = sender_->Send(record.bytes.data(), static_cast<uint32_t>(size),
                                  records_.HasOne() && CacheSize() == 0) == 0;
  CountSend(size, Platform::MonotonicMilliseconds() - start);
  if (!sent) {
    LogWarning("SM: SendRecord: Send of record failed");
    return false;
  }
  records_.TakeFirst();
  TAV_TRACE("SM: SendRecord: Record sent");
  return true;
}

}  // namespace Tav
