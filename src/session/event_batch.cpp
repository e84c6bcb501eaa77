#include "session/event_batch.h"

#include <utility>

#include "util/logger.h"

namespace Tav {

void PendingEvents::Append(WorkItemPtr item) {
  size_ += item->event->estimatedSize;
  items_.Append(std::move(item));
}

WorkItemPtr PendingEvents::TakeFirst() {
  WorkItemPtr item = items_.TakeFirst();
  if (item != nullptr) {
    size_ -= item->event->estimatedSize;
  }
  return item;
}

void PendingEvents::Clear() {
  while (TakeFirst() != nullptr) {
  }
}

void EventBatch::BuildRecords(bool all, RecordStore& store) {
  if (pending_.Empty() && !changes_.RecordDue()) {
    return;
  }
  do {
    if (!all && overheadEstimate_ + pending_.EstimatedSize() < builder_.MaxRecordSize()) {
      return;
    }
    if (std::unique_ptr<BuiltRecord> record = builder_.BuildOneJsonRecord(pending_, changes_)) {
      changes_.OnRecordBuilt(record->carried);
      store.Append(std::move(record));
      TAV_TRACE("SM: ProcessEventList: jsonRec added: totalMemoryUsed = %d",
                static_cast<int>(store.InMemory().Bytes()));
    }
  } while (!pending_.Empty());
}

}  // namespace Tav
