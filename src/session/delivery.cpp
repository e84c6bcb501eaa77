#include "session/delivery.h"

#include "util/logger.h"
#include "util/now.h"

namespace Tav {

void Delivery::SetLimits(const Limits& limits) {
  schedule_.Tune(limits.schedule);
  store_.SetMaxMemory(limits.maxMemorySize);
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
  dropped_ = true;
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
    schedule_.CheckSendThreshold(queue_.Backlog());
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
    if (queue_.Backlog().cache > 0) {
      IncludePending();
    }
    if (!Exhausted()) {
      BuildNext(true);
    }
  } else {
    IncludePending();
    if (retryRefused_ && *retryRefused_ <= ReadClocks().monotonic) {
      queue_.RetryRefused();
      retryRefused_.reset();
    }
    if ((store_.NothingInMemory() && store_.CacheSize() == 0) || queue_.HasOnlyRefused()) {
      TAV_DEBUG("SM: SendToServer: nothing to send");
      return queue_.HasRefused() ? SendProgress::Refused : SendProgress::Done;
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
  if (queue_.HasRefused() && !retryRefused_) {
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

}  // namespace Tav
