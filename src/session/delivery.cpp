#include "session/delivery.h"

#include <utility>

#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

void Delivery::SetLimits(const Limits& limits) {
  schedule_.Tune(limits.schedule);
  maxMemorySize_ = limits.maxMemorySize;
}

void Delivery::Add(WorkItemPtr item, int64_t now) {
  if (batch_.Empty()) {
    schedule_.OnFirstPending(now);
  }
  batch_.Append(std::move(item));
}

void Delivery::ProcessEventList(bool all) {
  if (intake_.Disabled()) {
    batch_.Clear();
  } else {
    batch_.BuildRecords(all, store_);
  }
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
  ProcessEventList(due || schedule_.FlushExpired());
  if (!schedule_.SendNow()) {
    CheckSendThreshold(suspended);
    due = schedule_.IsDue(suspended);
    if (schedule_.SendNow()) {
      ProcessEventList(due || schedule_.FlushExpired());
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
    ProcessEventList(true);  // what hosts have reported meanwhile is sent in its turn
  } else {
    if (retryRefused_ != 0 && retryRefused_ <= CurrentTime()) {
      store_.RetryRefused();
      retryRefused_ = 0;
    }
    if ((store_.InMemory().Empty() && store_.CacheSize() == 0) || store_.HasOnlyRefused()) {
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
  const int64_t now = CurrentTime();
  if (reached) {
    app_.PersistAppStatusChanges();
    stamps_.PersistLastServerAccessTime(now);
    schedule_.OnSent(now);
  } else {
    app_.PersistAccepted();
    schedule_.OnSendFailure(now, uploader_.RetryAfter());
  }
  schedule_.OnSendDone();
  if (store_.HasRefused() && retryRefused_ == 0) {
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
  SendProgress progress = SendProgress::More;
  while (progress == SendProgress::More) {
    progress = SendSome();
  }
  return progress == SendProgress::Done;
}

void Delivery::ArmFlush() {
  if (store_.UsesCache() && !(batch_.Empty() && store_.InMemory().Empty())) {
    schedule_.OnLeftInMemory(CurrentTime());
  }
}

void Delivery::FlushIfDue() {
  const int64_t inMemory = store_.InMemory().Bytes();
  if (schedule_.FlushExpired()) {
    TAV_DEBUG("SM: Flushing records to disk (memory flush timer expires)");
  } else if (inMemory <= maxMemorySize_) {
    return;
  } else if (schedule_.FlushFailed()) {
    store_.BoundMemory(maxMemorySize_);
    return;
  } else {
    TAV_DEBUG("SM: Flushing records to disk (memory full): total mem used = %d, max mem sz = %d",
              static_cast<int>(inMemory), maxMemorySize_);
  }
  ProcessEventList(true);
  FlushToCache();
}

void Delivery::FlushToCache() {
  schedule_.OnFlushed();
  if (!store_.Flush()) {
    schedule_.OnFlushFailed(CurrentTime());
    store_.BoundMemory(maxMemorySize_);
  }
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
  const int64_t now = CurrentTime();
  TAV_DEBUG("SM: ProcessTermination: persistent interval enabled. Now = %lld, waitTime = %lld",
            LongLong{now}, LongLong{schedule_.WaitTime()});
  if (schedule_.WaitTime() <= now) {
    TAV_DEBUG("SM: ProcessTermination: persistent interval is over. Sending data to server.");
    SendToServer();
  } else if (schedule_.CheckSendThreshold(store_.Backlog())) {
    TAV_DEBUG("SM: ProcessTermination: send threshold has been reached. Sending data to server.");
    SendToServer();
  }
}

void Delivery::CacheUnsent() {
  // After an opt-out, the only unsent record is the opt-out, which the storage files keep.
  if (store_.InMemory().Empty() || !store_.UsesCache()) {
    return;
  }
  TAV_DEBUG("SM: ProcessTermination: writing records to cache");
  FlushToCache();
  const RecordList& lost = store_.InMemory();
  if (!lost.Empty()) {
    LogWarning("SM: %d records (%d bytes) could be neither sent nor stored and are lost",
               static_cast<int>(lost.Count()), static_cast<int>(lost.Bytes()));
  }
}

}  // namespace Tav
