#include "session/work_items.h"

#include <new>
#include <utility>

#include "util/logger.h"

namespace Tav {

void WorkItemDeleter::operator()(WorkItem* item) const {
  FreeHandle(item->value);
  delete item;
}

WorkItemPtr MakeWorkItem(ItemCode code) {
  WorkItemPtr item(new (std::nothrow) WorkItem);
  if (item != nullptr) {
    item->code = code;
  }
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

void WorkList::AppendAll(WorkList&& other) {
  while (WorkItemPtr item = other.TakeFirst()) {
    Append(std::move(item));
  }
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
