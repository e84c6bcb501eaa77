#include "session/delivery.h"

#include <utility>

#include "platform/clock.h"
#include "util/logger.h"
#include "util/now.h"

namespace Tav {

namespace {

// Milliseconds. After this time a flush pauses so that the session thread can serve the host.
constexpr int64_t kMaxFlush = 1000;
// Counted from the end of sending, when a second is left. What is not stored stays in the journal.
constexpr int64_t kMaxLastFlush = 500;

}  // namespace

void Delivery::SetLimits(const Limits& limits) {
  schedule_.Tune(limits.schedule);
  maxMemorySize_ = limits.maxMemorySize;
  store_.SetMaxMemory(maxMemorySize_);
}

void Delivery::Add(const EventReader::Item& event, const Now& now) {
  if (batch_.Pending().Empty()) {
    schedule_.OnFirstPending(now);
  }
  batch_.Pending().Append(event);
}

// If a record is not delivered yet, its delivery also settles the dropped events before it.
void Delivery::SettleDropped() {
  if (!store_.HasUnsettled()) {
    journal_.Settle(batch_.Pending().Begin());
  }
}

void Delivery::ProcessEventList(bool all) {
  if (intake_.Disabled()) {
    DropPending();
  } else {
    batch_.BuildRecords(all, store_);
  }
}

void Delivery::BuildNext(bool all) {
  if (intake_.Disabled()) {
    DropPending();
  } else if (batch_.Due(all, store_)) {
    batch_.BuildNext(store_);
  }
}

void Delivery::DropPending() {
  batch_.Pending().DropAll();
  SettleDropped();
  EndFlush();
}

bool Delivery::IsSendDue(bool suspended) {
  if (uploader_.Connected()) {
    if (!suspended) {
      return true;
    }
    EndSend();
  }
  CheckSendThreshold(suspended);
  bool due = schedule_.IsDue(suspended);
  BuildNext(due || schedule_.FlushExpired());
  if (!schedule_.SendNow()) {
    CheckSendThreshold(suspended);
    due = schedule_.IsDue(suspended);
    if (schedule_.SendNow()) {
      BuildNext(due || schedule_.FlushExpired());
    }
  }
  return due;
}

// While suspended, reaching the threshold must not disarm the flush timer.
void Delivery::CheckSendThreshold(bool suspended) {
  if (!suspended) {
    schedule_.CheckSendThreshold(store_.Backlog());
  }
}

SendProgress Delivery::SendSome() {
  if (intake_.Disabled()) {
    EndSend();
    return SendProgress::Failed;
  }
  if (uploader_.Connected()) {
    // A long send also delivers what hosts have reported meanwhile. One that did so to its end
    // would have none while they go on.
    if (store_.Backlog().cache > 0) {
      IncludePending();
    }
    if (!Exhausted()) {
      BuildNext(true);
    }
  } else {
    IncludePending();
    if (retryRefused_ && *retryRefused_ <= ReadClocks().monotonic) {
      store_.RetryRefused();
      retryRefused_.reset();
    }
    if ((store_.NothingInMemory() && store_.CacheSize() == 0) || store_.HasOnlyRefused()) {
      TAV_DEBUG("SM: SendToServer: nothing to send");
      return store_.HasRefused() ? SendProgress::Refused : SendProgress::Done;
    }
    if (uploader_.PastDeadline()) {
      LogWarning("SM: Send canceled due to being too close to final termination");
      return SendProgress::Failed;
    }
  }
  const SendProgress progress = uploader_.SendSome();
  if (progress != SendProgress::More) {
    FinishSend(progress != SendProgress::Failed);
  }
  return progress;
}

void Delivery::FinishSend(bool reached) {
  const Now now = ReadClocks();
  if (reached) {
    app_.PersistAppStatusChanges();
    stamps_.PersistLastServerAccessTime(now.unixSeconds);
    schedule_.OnSent(now);
  } else {
    app_.PersistAccepted();
    schedule_.OnSendFailure(now, uploader_.RetryAfter());
  }
  schedule_.OnSendDone();
  if (store_.HasRefused() && !retryRefused_) {
    retryRefused_ = schedule_.WaitTime();
  }
}

void Delivery::EndSend() {
  if (uploader_.Connected()) {
    uploader_.Disconnect();
    app_.PersistAccepted();
  }
}

bool Delivery::SendToServer() {
  IncludePending();
  SendProgress progress = SendProgress::More;
  while (progress == SendProgress::More) {
    progress = SendSome();
  }
  return progress == SendProgress::Done;
}

// During a send, the records of a cache file leave memory by themselves.
void Delivery::ArmFlush() {
  const bool any = !batch_.Pending().Empty() || !store_.InMemory().Empty() ||
                   !(Sending() || store_.NothingInMemory());
  if (store_.UsesCache() && any) {
    schedule_.OnLeftInMemory(ReadClocks());
  }
}

void Delivery::FlushIfDue() {
  const int64_t inMemory = store_.InMemory().Bytes();
  if (flushing_) {
    TAV_DEBUG("SM: Flushing more records to disk");
  } else if (schedule_.FlushExpired()) {
    TAV_DEBUG("SM: Flushing records to disk (memory flush timer expires)");
  } else if (inMemory <= maxMemorySize_) {
    return;
  } else if (schedule_.FlushFailed()) {
    store_.BoundMemory();
    return;
  } else {
    TAV_DEBUG("SM: Flushing records to disk (memory full): total mem used = %d, max mem sz = %d",
              static_cast<int>(inMemory), maxMemorySize_);
  }
  Flush(Platform::MonotonicMilliseconds() + kMaxFlush);
}

// Alternates between building and storing records, so that they take little memory, until nothing
// is left, the cache fails, or the monotonic clock reaches the given time.
void Delivery::Flush(int64_t end) {
  bool stored = true;
  do {
    try {
      ProcessEventList(true);
    } catch (...) {
      flushing_ = FlushToCache();  // what has been built
      throw;
    }
    stored = FlushToCache();
  } while (stored && !batch_.Pending().Empty() && Platform::MonotonicMilliseconds() < end);
  flushing_ = stored && !batch_.Pending().Empty();
}

bool Delivery::FlushToCache() {
  schedule_.OnFlushed();
  const bool stored = store_.Flush();
  if (!stored) {
    schedule_.OnFlushFailed(ReadClocks());
    store_.BoundMemory();
  }
  return stored;
}

void Delivery::SendAtTermination() {
  if (schedule_.NeverSends()) {
    return;
  }
  if (!schedule_.PersistentInterval()) {
    TAV_DEBUG("SM: ProcessTermination: Sending data to server.");
    SendToServer();
    return;
  }
  using LongLong = long long;
  const Now now = ReadClocks();
  TAV_DEBUG("SM: ProcessTermination: persistent interval enabled. Now = %lld, waitTime = %lld",
            LongLong{now.unixSeconds}, LongLong{now.ToUnix(schedule_.WaitTime())});
  if (schedule_.WaitTime() <= now.monotonic) {
    TAV_DEBUG("SM: ProcessTermination: persistent interval is over. Sending data to server.");
    SendToServer();
  } else if (schedule_.CheckSendThreshold(store_.Backlog())) {
    TAV_DEBUG("SM: ProcessTermination: send threshold has been reached. Sending data to server.");
    SendToServer();
  }
}

void Delivery::CacheUnsent() {
  // After an opt-out, the only unsent record is the opt-out, which the storage files keep.
  if ((store_.NothingInMemory() && batch_.Pending().Empty()) || !store_.UsesCache()) {
    return;
  }
  TAV_DEBUG("SM: ProcessTermination: writing records to cache");
  const int64_t end =
      Platform::MonotonicMilliseconds() + uploader_.TimeToDeadline() + kMaxLastFlush;
  try {
    Flush(end);
  } catch (...) {
    LogException("SM: ");
  }
  BuildLost(end);
}

bool Delivery::PendingAreLost() const {
  const PendingEvents& pending = batch_.Pending();
  return !pending.Empty() && !journal_.Keeps(pending.Begin(), pending.End());
}

// Builds records of the events that no later run finds, while time permits: these can be counted
// one by one.
void Delivery::BuildLost(int64_t end) {
  store_.SetMaxMemory(INT32_MAX);
  while (PendingAreLost() && Platform::MonotonicMilliseconds() < end) {
    BuildNext(true);
  }
}

void Delivery::ReportLost() const {
  if (!store_.UsesCache()) {
    return;
  }
  if (const RecordStore::Unprotected lost = store_.FindUnprotected(); lost.count > 0) {
    LogWarning("SM: %d records (%d bytes) could be neither sent nor stored and are lost",
               lost.count, static_cast<int>(lost.bytes));
  }
  if (PendingAreLost()) {
    LogWarning("SM: %lld events could be neither sent nor stored and are lost",
               static_cast<long long>(batch_.Pending().Count()));
  }
}

}  // namespace Tav
