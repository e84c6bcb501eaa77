#include "session/event_batch.h"

#include <utility>

#include "util/logger.h"

namespace Tav {

void PendingEvents::Append(const EventReader::Item& item) {
  if (count_ == 0) {
    begin_ = item.begin;
  }
  end_ = item.end;
  size_ += item.view.Fields().estimatedSize;
  ++count_;
}

const EntryView* PendingEvents::First() {
  if (Empty()) {
    return nullptr;
  }
  if (!first_) {
    first_ = reader_.Next(begin_, end_);
    while (first_ && first_->view.GetVerdict() != Verdict::Open) {
      first_ = reader_.Next(first_->end, end_);
    }
    if (!first_) {
      Clear();
      return nullptr;
    }
  }
  return &first_->view;
}

void PendingEvents::RemoveFirst() {
  First();
  if (const std::optional<EventReader::Item> first = std::exchange(first_, std::nullopt)) {
    size_ -= first->view.Fields().estimatedSize;
    --count_;
    begin_ = first->end;
  }
}

void PendingEvents::DropAll() {
  for (std::optional<EventReader::Item> event = reader_.Next(begin_, end_); !Empty() && event;
       event = reader_.Next(event->end, end_)) {
    reader_.SetVerdict(event->begin, Verdict::Dropped);
  }
  Clear();
}

void PendingEvents::Clear() {
  begin_ = end_;
  size_ = 0;
  count_ = 0;
  first_.reset();
}

void PendingEvents::ReturnTo(const Mark& mark) {
  begin_ = mark.begin;
  size_ = mark.size;
  count_ = mark.count;
  first_.reset();
}

// If memory runs out, the events stay pending.
std::unique_ptr<BuiltRecord> EventBatch::BuildRecord() {
  const PendingEvents::Mark mark = pending_.GetMark();
  try {
    std::unique_ptr<BuiltRecord> record = builder_.BuildOneJsonRecord(pending_, changes_);
    pending_.ForgetFirst();
    return record;
  } catch (...) {
    pending_.ReturnTo(mark);
    builder_.ReturnToMark();
    throw;
  }
}

bool EventBatch::Due(bool all, const RecordStore& store) const {
  const bool any = !pending_.Empty() || changes_.RecordDue();
  const bool full = overheadEstimate_ + pending_.EstimatedSize() >= builder_.MaxRecordSize();
  return any && (all || full) && !store.Full();
}

void EventBatch::BuildNext(RecordStore& store) {
  builder_.SetMark();  // may throw, so it comes before an event is read ahead
  // Without this, events that cannot be read any more would make a record without events.
  if (pending_.First() == nullptr && !changes_.RecordDue()) {
    return;
  }
  if (std::unique_ptr<BuiltRecord> record = BuildRecord()) {
    record->logEnd = pending_.Begin();
    changes_.OnRecordBuilt(record->carried);
    store.Append(std::move(record));
    TAV_TRACE("SM: ProcessEventList: jsonRec added: totalMemoryUsed = %d",
              static_cast<int>(store.InMemory().Bytes()));
  }
}

void EventBatch::BuildRecords(bool all, RecordStore& store) {
  bool more = true;
  while (more && Due(all, store)) {
    BuildNext(store);
    more = !pending_.Empty();
  }
}

}  // namespace Tav
