#include "session/item_handler.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

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
    requests_.AnswerFailed(code);
  } catch (...) {
    LogException("SM: ");
    requests_.AnswerFailed(code);
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
      requests_.AnswerAtOnce();
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
      requests_.Commit();
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
      requests_.PullData();
      return;
    case ItemCode::PushData:
      requests_.PushData();
      return;
    case ItemCode::SuspendTerm:
      suspended_ = true;
      suspendedForTermination_ = true;
      TAV_DEBUG("SM: SuspendTerm");
      return;
    case ItemCode::Sync:
      requests_.AnswerQuestion(app_.Machine().EndpointId());
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

}  // namespace Tav
