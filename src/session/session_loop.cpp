// The session thread's loop: waiting, taking items, handling them.
#include <algorithm>
#include <utility>

#include "session/data_block.h"
#include "session/session_manager.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

// How often the answers about the machine are looked for while they are pending, in seconds.
constexpr int kClientInfoPoll = 1;

}  // namespace

void SessionManager::Main() {
  TAV_DEBUG("SM: Main. Session thread is running. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  // Without memory for its own start the engine still answers hosts and keeps the rules of the end.
  try {
    StartUp();
  } catch (const std::bad_alloc&) {
    LogError("SM: Out of memory");
    disabled_ = true;
  }
  ProcessData();
  ProcessTermination();
  TAV_DEBUG("SM: Session thread is exiting. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

void SessionManager::ProcessData() {
  TAV_DEBUG("SM: Processing data. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  schedule_.SetInitialWaitTime(CurrentTime(), CacheSize(),
                               cache_ == nullptr ? 0 : cache_->OldestTime());
  while (!terminating_) {
    // Memory that ran out for one record or one event must not end the thread that all later ones
    // depend on.
    try {
      ProcessTurn();
    } catch (const std::bad_alloc&) {
      LogError("SM: Out of memory");
    }
  }
  TAV_DEBUG("SM: ProcessData got terminating. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

void SessionManager::ProcessTurn() {
  const int64_t now = CurrentTime();
  rate_.Roll(now);
  int timeout = schedule_.ComputeTimeout(now);
  if (client_.Pending()) {
    timeout = std::min(timeout, kClientInfoPoll);
  }
  schedule_.CheckTimers(now);
  ProcessItems(queue_.TakeItems(timeout), CurrentTime());
  if (terminating_) {
    return;
  }
  FinishClientInfo(0);
  if (IsSendDue()) {
    SendToServer();
    return;
  }
  if (suspendedForTermination_) {
    return;
  }
  if (schedule_.FlushExpired()) {
    TAV_DEBUG("SM: Flushing records to disk (memory flush timer expires)");
  } else if (records_.Bytes() > maxMemorySize_) {
    if (schedule_.FlushFailed()) {
      BoundMemory();
      return;
    }
    TAV_DEBUG("SM: Flushing records to disk (memory full): total mem used = %d, max mem sz = %d",
              static_cast<int>(records_.Bytes()), maxMemorySize_);
  } else {
    return;
  }
  ProcessEventList(true);
  FlushToCache();
}

void SessionManager::ProcessItems(WorkList items, int64_t now) {
  while (WorkItemPtr item = items.TakeFirst()) {
    const ItemCode code = item->code;
    try {
      ProcessItem(std::move(item), now);
    } catch (const std::bad_alloc&) {
      LogError("SM: Out of memory while handling item code (%d)", static_cast<int>(code));
      if (code == ItemCode::Commit || code == ItemCode::PullData || code == ItemCode::PushData) {
        WakeReady();
      }
    }
  }
}

void SessionManager::ProcessItem(WorkItemPtr item, int64_t now) {
  switch (item->code) {
    case ItemCode::Client:
      if (changed_.app) {
        schedule_.OnAppChanged(now);
      }
      TAV_DEBUG("SM: Client");
      return;
    case ItemCode::Event:
      OnEvent(std::move(item), now);
      return;
    case ItemCode::Suspend:
      suspended_ = true;
      TAV_DEBUG("SM: Suspend");
      return;
    case ItemCode::Resume:
      suspended_ = false;
      TAV_DEBUG("SM: Resume");
      return;
    case ItemCode::Commit:
      OnCommit();
      return;
    case ItemCode::Term:
      terminating_ = true;
      suspended_ = false;
      suspendedForTermination_ = false;
      TAV_DEBUG("SM: Term. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
      return;
    case ItemCode::ProdEnv:
      TAV_DEBUG("SM: ProdEnv");
      // An opted-out product sends its opt-out and nothing else, whatever the host goes on
      // reporting.
      if (!config_.optOut) {
        OnProductEnv(*item->value);
      }
      return;
    case ItemCode::PullData:
      OnPullData();
      return;
    case ItemCode::PushData:
      OnPushData();
      return;
    case ItemCode::SuspendTerm:
      suspended_ = true;
      suspendedForTermination_ = true;
      TAV_DEBUG("SM: SuspendTerm");
      return;
    case ItemCode::Sync:
      TAV_DEBUG("SM: Sync. Waking up thread. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
      WakeReady();
      TAV_DEBUG("SM: Sync done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
      return;
  }
  LogError("SM: Unhandled item code (%d)", static_cast<int>(item->code));
}

void SessionManager::OnEvent(WorkItemPtr item, int64_t now) {
  const TavEvent_s& event = *item->event;
  TAV_TRACE("SM: ev: %s. disabled: %d", event.name.CString(), disabled_);
  if (disabled_ || config_.optOut || settings_.IsInhibited(event.name.View())) {
    return;
  }
  QueueEvent(std::move(item), now);
}

void SessionManager::QueueEvent(WorkItemPtr item, int64_t now) {
  if (pending_.Empty()) {
    schedule_.OnFirstPending(now);
  }
  pending_.Append(std::move(item));
  rate_.Count();
  if (maxEventsPerMinute_ >= 1 && rate_.InCurrentMinute() >= maxEventsPerMinute_) {
    disabled_ = true;
    LogWarning("SM: Too many events (%d) generated in one minute. Disabling Analytics",
               rate_.InCurrentMinute());
    return;
  }
  if (maxEventsPerHour_ >= 1 && rate_.InLastHour() >= maxEventsPerHour_) {
    disabled_ = true;
    LogWarning("SM: Too many events (%d) generated in one hour. Disabling Analytics",
               rate_.InLastHour());
  }
}

void SessionManager::OnCommit() {
  TAV_DEBUG("SM: Commit. Processing event list. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  commitResult_ = 1;
  ProcessEventList(true);
  commitResult_ = SendToServer() ? 0 : 1;
  if (std::exchange(cacheWriteFailed_, false)) {
    commitResult_ = 2;
  }
  TAV_DEBUG("SM: Commit. Waking up thread. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  WakeReady();
  TAV_DEBUG("SM: Commit done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

void SessionManager::OnProductEnv(const TavValue_s& value) {
  const bool isMap = value.kind == HandleKind::Map;
  if (!product_.UpdateProductEnv(value.name.View(), value.payload.Get(), isMap)) {
    return;
  }
  changed_.productEnvironment = true;
  changed_.app = true;
  TAV_DEBUG("SM: OnProductEnv. Changed: added new: %s", value.name.CString());
}

void SessionManager::OnPullData() {
  ProcessEventList(true);
  // A block that no host has taken yet, for want of memory, goes first.
  if (handOver_.empty() && (!records_.Empty() || LoadCacheRecords())) {
    handOver_ = ToDataBlock(*records_.First());
    records_.TakeFirst();
  }
  TAV_DEBUG("SM: Record pulled. Waking up thread. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  WakeReady();
  TAV_DEBUG("SM: Record pulled done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

void SessionManager::OnPushData() {
  std::string reason;
  std::unique_ptr<BuiltRecord> record = FromDataBlock(pushed_, reason);
  pushed_.clear();
  if (record == nullptr) {
    LogWarning("SM: PushData: rejecting data that is no record (%s)", reason.c_str());
  } else if (config_.optOut) {
    LogWarning("SM: PushData: rejecting a record because of the opt-out");
  } else {
    records_.Append(std::move(record));
  }
  TAV_DEBUG("SM: Record pushed. Waking up thread. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  WakeReady();
  TAV_DEBUG("SM: Record pushed done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

}  // namespace Tav
