#include "session/item_handler.h"

#include <memory>
#include <new>
#include <utility>

#include "session/data_block.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr int64_t kMillisecondsPerSecond = 1000;

}  // namespace

void ItemHandler::ProcessItems(WorkList items, int64_t now) {
  while (WorkItemPtr item = items.TakeFirst()) {
    ProcessSafely(std::move(item), now);
  }
}

void ItemHandler::ProcessSafely(WorkItemPtr item, int64_t now) {
  const ItemCode code = item->code;
  try {
    if (!holding_ || !ProcessHeld(item)) {
      ProcessItem(std::move(item), now);
    }
  } catch (const std::bad_alloc&) {
    LogError("SM: Out of memory while handling item code (%d)", static_cast<int>(code));
    AnswerFailed(code);
  } catch (...) {
    LogException("SM: ");
    AnswerFailed(code);
  }
}

// False for an item that needs no stored settings.
bool ItemHandler::ProcessHeld(WorkItemPtr& item) {
  switch (item->code) {
    case ItemCode::Event:
      if (intake_.Accepts(*item->event)) {
        held_.Append(std::move(item));
      }
      return true;
    case ItemCode::Client:
    case ItemCode::ProdEnv:
      held_.Append(std::move(item));
      return true;
    case ItemCode::Commit:
    case ItemCode::PullData:
      requests_.commit = CommitResult::NotSent;
      thread_.WakeReady();
      return true;
    default:
      return false;
  }
}

// Rate limits count each event in the minute in which it was reported.
void ItemHandler::Release(int64_t now) {
  holding_ = false;
  while (WorkItemPtr item = held_.TakeFirst()) {
    intake_.Roll(item->time.unixMilliseconds / kMillisecondsPerSecond);
    ProcessSafely(std::move(item), now);
  }
}

void ItemHandler::AnswerFailed(ItemCode code) {
  commitPending_ = commitPending_ && code != ItemCode::Commit;
  if (code == ItemCode::Commit || code == ItemCode::PullData || code == ItemCode::PushData ||
      code == ItemCode::Sync) {
    thread_.WakeReady();
  }
}

void ItemHandler::ProcessItem(WorkItemPtr item, int64_t now) {
  switch (item->code) {
    case ItemCode::Client:
      if (app_.Changes().RecordDue()) {
        delivery_.Schedule().OnAppChanged(now);
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
      app_.OnProductEnv(*item->value);
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
      requests_.endpointId = app_.EndpointId();
      thread_.WakeReady();
      TAV_DEBUG("SM: Sync done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
      return;
  }
  LogError("SM: Unhandled item code (%d)", static_cast<int>(item->code));
}

void ItemHandler::OnEvent(WorkItemPtr item, int64_t now) {
  if (intake_.Accepts(*item->event)) {
    delivery_.Add(std::move(item), now);
    intake_.Count();
  }
}

void ItemHandler::OnCommit() {
  TAV_DEBUG("SM: Commit. Processing event list. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  commitPending_ = true;
  delivery_.ProcessEventList(true);
  SendForCommit();
}

void ItemHandler::ContinueCommit() try { SendForCommit(); } catch (...) {
  LogException("SM: ");
  AnswerFailed(ItemCode::Commit);
}

void ItemHandler::AnswerUnfinished() {
  if (commitPending_) {
    AnswerFailed(ItemCode::Commit);
  }
}

void ItemHandler::SendForCommit() {
  const SendProgress progress = delivery_.SendSome();
  if (progress == SendProgress::More) {
    return;
  }
  commitPending_ = false;
  if (progress == SendProgress::Done) {
    requests_.commit = CommitResult::Sent;
  }
  if (delivery_.Store().TakeFlushFailed()) {
    requests_.commit = CommitResult::CacheWriteFailed;
  }
  TAV_DEBUG("SM: Commit. Waking up thread. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  thread_.WakeReady();
  TAV_DEBUG("SM: Commit done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

void ItemHandler::OnPullData() {
  delivery_.ProcessEventList(true);
  // If the last host had no memory for its block, the block is still here and is returned first.
  if (requests_.pulledBlock.empty()) {
    if (const BuiltRecord* const record = delivery_.Store().Oldest()) {
      requests_.pulledBlock = ToDataBlock(*record);
      delivery_.Store().RemovePulled();
    }
  }
  TAV_DEBUG("SM: Record pulled. Waking up thread. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  thread_.WakeReady();
  TAV_DEBUG("SM: Record pulled done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

void ItemHandler::OnPushData() {
  std::string reason;
  std::unique_ptr<BuiltRecord> record = FromDataBlock(requests_.pushedBlock, reason);
  requests_.pushedBlock.clear();
  if (record == nullptr) {
    LogWarning("SM: PushData: rejecting data that is no record (%s)", reason.c_str());
  } else if (!delivery_.Store().Push(std::move(record))) {
    LogWarning("SM: PushData: rejecting a record because of the opt-out");
  }
  TAV_DEBUG("SM: Record pushed. Waking up thread. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  thread_.WakeReady();
  TAV_DEBUG("SM: Record pushed done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

void ItemHandler::RestorePulled() {
  if (requests_.pulledBlock.empty()) {
    return;
  }
  std::string reason;
  if (std::unique_ptr<BuiltRecord> record = FromDataBlock(requests_.pulledBlock, reason)) {
    delivery_.Store().Append(std::move(record));
  } else {
    LogWarning("SM: A pulled record is lost (%s)", reason.c_str());
  }
  requests_.pulledBlock.clear();
}

}  // namespace Tav
