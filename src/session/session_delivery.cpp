// How records are built, sent and, at the end, accounted for.
#include <utility>

#include "platform/clock.h"
#include "session/send_statistics.h"
#include "session/session_manager.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

constexpr int64_t kSecondsPerDay = 86400;

// Records have no place to go but memory until they are sent. This many times the size at which
// they would go to disk is kept before the oldest are given up.
constexpr int kMemoryBoundFactor = 16;

}  // namespace

bool SessionManager::IsSendDue() {
  schedule_.CheckSendThreshold(Waiting());
  bool due = schedule_.IsDue(suspended_);
  ProcessEventList(due || schedule_.FlushExpired());
  if (!schedule_.SendNow()) {
    schedule_.CheckSendThreshold(Waiting());
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
      totalMemoryUsed_ += record->Size();
      records_.Append(std::move(record));
      TAV_TRACE("SM: ProcessEventList: jsonRec added: totalMemoryUsed = %d", totalMemoryUsed_);
    }
  } while (!pending_.Empty());
}

void SessionManager::FlushToCache() {
  schedule_.OnFlushed();
  BoundMemory();
}

void SessionManager::BoundMemory() {
  const int64_t bound = int64_t{maxMemorySize_} * kMemoryBoundFactor;
  int count = 0;
  int bytes = 0;
  while (totalMemoryUsed_ > bound && !records_.Empty()) {
    const int size = records_.TakeFirst()->Size();
    totalMemoryUsed_ -= size;
    bytes += size;
    ++count;
  }
  if (count > 0) {
    LogWarning("SM: Memory bound reached. Dropped the %d oldest records (%d bytes)", count, bytes);
  }
}

bool SessionManager::NearFinalTermination() const {
  const int64_t deadline = finalDeadline_.load(std::memory_order_acquire);
  return deadline != 0 && CurrentTime() >= deadline;
}

bool SessionManager::SendToServer() {
  if (disabled_) {
    return false;
  }
  if (records_.Empty()) {
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
    PersistAppStatusChanges();
    lastServerAccessTime_.store(now / kSecondsPerDay, std::memory_order_relaxed);
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
    sent = SendRecords();
  } else {
    LogWarning("SM: Send data to server: Server connection failed");
    TAV_NOTE("SM: Sending no records");
  }
  sender_->Close();
  return sent;
}

bool SessionManager::SendRecords() {
  while (!records_.Empty()) {
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

bool SessionManager::SendRecord() {
  const BuiltRecord& record = *records_.First();
  const int size = record.Size();
  const int64_t start = Platform::MonotonicMilliseconds();
  const bool sent =
      sender_->Send(record.bytes.data(), static_cast<uint32_t>(size), records_.HasOne()) == 0;
  CountSend(size, Platform::MonotonicMilliseconds() - start);
  if (!sent) {
    LogWarning("SM: SendRecord: Send of record failed");
    return false;
  }
  records_.TakeFirst();
  totalMemoryUsed_ -= size;
  TAV_TRACE("SM: SendRecord: Record sent");
  return true;
}

// Nothing is stored yet: that the changes were sent is remembered for this run.
void SessionManager::PersistAppStatusChanges() {
  if (changed_.productEnvironment) {
    product_.OnSent();
    changed_.productEnvironment = false;
    changed_.productDataPersisted = true;
  }
  changed_.client = false;
}

void SessionManager::ProcessTermination() {
  TAV_DEBUG("SM: Processing termination. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  ProcessEventList(true);
  if (!schedule_.NeverSends()) {
    const int64_t now = CurrentTime();
    if (!schedule_.PersistentInterval()) {
      TAV_DEBUG("SM: ProcessTermination: Sending data to server.");
      SendToServer();
    } else {
      using LongLong = long long;
      TAV_DEBUG("SM: ProcessTermination: persistent interval enabled. Now = %lld, waitTime = %lld",
                LongLong{now}, LongLong{schedule_.WaitTime()});
      if (schedule_.WaitTime() <= now) {
        TAV_DEBUG("SM: ProcessTermination: persistent interval is over. Sending data to server.");
        SendToServer();
      } else if (schedule_.CheckSendThreshold(Waiting())) {
        TAV_DEBUG(
            "SM: ProcessTermination: send threshold has been reached. Sending data to server.");
        SendToServer();
      }
    }
  }
  if (!records_.Empty()) {
    LogWarning("SM: %d records (%d bytes) were not sent and are lost with the process",
               static_cast<int>(records_.Count()), totalMemoryUsed_);
  }
}

}  // namespace Tav
