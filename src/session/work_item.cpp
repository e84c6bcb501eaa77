#include "session/work_item.h"

#include <new>
#include <utility>

#include "util/arena.h"
#include "util/logger.h"

namespace Tav {

void WorkItemDeleter::operator()(WorkItem* item) const {
  if (item->event != nullptr) {
    FreeHandle(item->event);  // takes the item along
    return;
  }
  FreeHandle(item->value);
  delete item;
}

WorkItemPtr MakeWorkItem(ItemCode code) {
  WorkItemPtr item(new (std::nothrow) WorkItem);
  if (item != nullptr) {
    item->code = code;
    item->time = CaptureTimeStamp();
  }
  return item;
}

WorkItemPtr MakeEventItem(TavEvent_s* event) {
  void* const memory = event->Memory()->Allocate(sizeof(WorkItem));
  if (memory == nullptr) {
    LogError("SM: Out of memory. Event '%s' is lost", event->name.CString());
    FreeHandle(event);
    return nullptr;
  }
  WorkItemPtr item(new (memory) WorkItem);
  item->code = ItemCode::Event;
  item->time = CaptureTimeStamp();
  item->event = event;
  return item;
}

WorkItemPtr MakeProductItem(TavValue_s* value) {
  WorkItemPtr item = MakeWorkItem(ItemCode::ProdEnv);
  if (item == nullptr) {
    LogError("SM: Out of memory. Product value '%s' is lost", value->name.CString());
    FreeHandle(value);
    return nullptr;
  }
  item->value = value;
  return item;
}

WorkList::WorkList(WorkList&& other) noexcept
    : head_(std::exchange(other.head_, nullptr)),
      tail_(std::exchange(other.tail_, nullptr)),
      count_(std::exchange(other.count_, 0)) {}

WorkList::~WorkList() {
  while (TakeFirst() != nullptr) {
  }
}

void WorkList::Append(WorkItemPtr item) {
  WorkItem* const last = item.release();
  if (tail_ == nullptr) {
    head_ = last;
  } else {
    tail_->next = last;
  }
  tail_ = last;
  ++count_;
}

WorkItemPtr WorkList::TakeFirst() {
  WorkItem* const first = head_;
  if (first != nullptr) {
    head_ = first->next;
    first->next = nullptr;
    if (head_ == nullptr) {
      tail_ = nullptr;
    }
    --count_;
  }
  return WorkItemPtr(first);
}

}  // namespace Tav
