#include "session/item_handler.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "session/data_block.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr int64_t kMillisecondsPerSecond = 1000;

}  // namespace

void ItemHandler::ProcessWork(Work work, const Now& now) {
  if (!holding_) {
    intake_.OnQueueTaken(now);
  }
  left_.AppendAll(std::move(work.items));
  // A Commit calls Serve, which leaves newer items behind these, and events behind those. They are
  // handled, too.
  while (WorkItemPtr item = left_.TakeFirst()) {
    TakeEvents(item->position, now);
    ProcessSafely(std::move(item), now);
  }
  TakeEvents(std::max(work.end, servedEnd_), now);
  ReportRefused();
}

void ItemHandler::Serve() {
  Work work = queue_.TakeWork(0);
  servedEnd_ = work.end;
  const Now now = ReadClocks();
  // Events behind an item that is left are handled later. Until then they count as reported since
  // the queue was last taken.
  if (!SomeLeft()) {
    intake_.OnQueueTaken(now);
  }
  left_.AppendAll(std::move(work.items));
  AnswerQuestions(now);
  TakeEvents(SomeLeft() ? left_.First()->position : work.end, now);
}

void ItemHandler::AnswerQuestions(const Now& now) {
  WorkList others;
  while (WorkItemPtr item = left_.TakeFirst()) {
    if (item->code == ItemCode::Sync) {
      ProcessSafely(std::move(item), now);
    } else {
      others.Append(std::move(item));
    }
  }
  left_.AppendAll(std::move(others));
}

// An event whose handling throws is dropped with a message.
void ItemHandler::TakeEvents(EventLog::Position end, const Now& now) {
  if (holding_ && !intake_.RejectsAll()) {
    heldEnd_ = end;
    return;
  }
  EventReader& reader = queue_.Reader();
  while (const std::optional<EventReader::Item> event = reader.Next(taken_, end)) {
    taken_ = event->end;
    try {
      OnEvent(*event, now);
    } catch (...) {
      LogException("SM: ");
      reader.SetVerdict(event->begin, Verdict::Dropped);
      delivery_.Skip(*event);
    }
  }
  taken_ = std::max(taken_, end);
  delivery_.SettleDropped();
}

void ItemHandler::ReportRefused() {
  if (const uint64_t refused = queue_.WithLog([](EventLog& log) { return log.TakeRefused(); })) {
    LogWarning("SM: Too many events wait. %lld new events were refused",
               static_cast<long long>(refused));
  }
}

void ItemHandler::ProcessSafely(WorkItemPtr item, const Now& now) {
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

void ItemHandler::Release(const Now& now) {
  holding_ = false;
  intake_.OnQueueTaken(now);
  while (WorkItemPtr item = held_.TakeFirst()) {
    TakeEvents(item->position, now);
    ProcessSafely(std::move(item), now);
  }
  TakeEvents(heldEnd_, now);
}

void ItemHandler::AnswerFailed(ItemCode code) {
  commitPending_ = commitPending_ && code != ItemCode::Commit;
  if (code == ItemCode::Sync) {
    thread_.WakeReady(Thread::Ready::Question);
  } else if (code == ItemCode::Commit || code == ItemCode::PullData || code == ItemCode::PushData) {
    thread_.WakeReady();
  }
}

void ItemHandler::ProcessItem(WorkItemPtr item, const Now& now) {
  switch (item->code) {
    case ItemCode::Client:
      if (app_.Changes().RecordDue()) {
        delivery_.Schedule().OnAppChanged(now);
      }
      TAV_DEBUG("SM: Client");
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
      TAV_DEBUG_HERE("SM: Term");
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
      TAV_DEBUG_HERE("SM: Sync. Waking up thread");
      requests_.endpointId = app_.Machine().EndpointId();
      thread_.WakeReady(Thread::Ready::Question);
      TAV_DEBUG_HERE("SM: Sync done");
      return;
  }
  LogError("SM: Unhandled item code (%d)", static_cast<int>(item->code));
}

// Rate limits count each event in the minute in which it was reported.
void ItemHandler::OnEvent(const EventReader::Item& event, const Now& now) {
  const EntryFields fields = event.view.Fields();
  if (!intake_.Accepts(fields.name)) {
    queue_.Reader().SetVerdict(event.begin, Verdict::Dropped);
    delivery_.Skip(event);
    return;
  }
  delivery_.Add(event, now);
  intake_.Count(fields.time.unixMilliseconds / kMillisecondsPerSecond);
}

void ItemHandler::OnCommit() {
  TAV_DEBUG_HERE("SM: Commit. Processing event list");
  commitPending_ = true;
  recovery_.SearchAgain();
  recovery_.Run(-1);
  delivery_.IncludePending();
  delivery_.BuildNext(true);
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
  TAV_DEBUG_HERE("SM: Commit. Waking up thread");
  thread_.WakeReady();
  TAV_DEBUG_HERE("SM: Commit done");
}

void ItemHandler::OnPullData() {
  recovery_.Search();
  delivery_.ProcessEventList(true);
  // If the last host had no memory for its block, the block is still here and is returned first.
  if (requests_.pulledBlock.empty()) {
    if (const BuiltRecord* const record = delivery_.Store().Oldest()) {
      requests_.pulledBlock = ToDataBlock(*record);
      delivery_.Store().RemovePulled();
    }
  }
  TAV_DEBUG_HERE("SM: Record pulled. Waking up thread");
  thread_.WakeReady();
  TAV_DEBUG_HERE("SM: Record pulled done");
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
  TAV_DEBUG_HERE("SM: Record pushed. Waking up thread");
  thread_.WakeReady();
  TAV_DEBUG_HERE("SM: Record pushed done");
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
