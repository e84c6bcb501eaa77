#include "session/pending_events.h"

#include <utility>

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

}  // namespace Tav
