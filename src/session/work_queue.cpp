#include "session/work_queue.h"

#include <algorithm>
#include <new>
#include <utility>

#include "util/arena.h"
#include "util/logger.h"

namespace Tav {

namespace {

// This many waiting items, about three megabytes, end the batch delay early.
constexpr int kMaxBatch = 2048;

class Locked {
 public:
  explicit Locked(Thread& thread) : thread_(thread) { thread_.Lock(); }
  ~Locked() { thread_.Unlock(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  Thread& thread_;
};

}  // namespace

void WorkItemDeleter::operator()(WorkItem* item) const {
  if (item->event != nullptr) {
    FreeHandle(item->event);  // also frees the item, which is in its memory
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

void WorkQueue::AddItem(WorkItemPtr item, Urgency urgency) {
  if (item == nullptr) {
    return;
  }
  bool wake = false;
  {
    const Locked locked(thread_);
    items_.Append(std::move(item));
    wake = !wakePending_ && MustWake(urgency);
    wakePending_ = wakePending_ || wake;
  }
  if (wake) {
    thread_.Signal();
  }
}

bool WorkQueue::MustWake(Urgency urgency) const {
  switch (consumer_) {
    case Consumer::Busy:
      return false;
    case Consumer::Batching:
      return urgency == Urgency::Now || items_.Count() >= kMaxBatch;
    case Consumer::Sleeping:
      return true;
  }
  return true;
}

WorkList WorkQueue::TakeItems(int timeoutSeconds) {
  const Locked locked(thread_);
  if (items_.Empty() && timeoutSeconds != 0) {
    WaitForItems(timeoutSeconds);
  }
  wakePending_ = false;
  tookItems_ = !items_.Empty();
  return std::move(items_);
}

void WorkQueue::WaitForItems(int timeoutSeconds) {
  int remaining = timeoutSeconds * 1000;
  if (tookItems_ && batchDelay_ > 0) {
    const int delay = std::min(batchDelay_, remaining);
    WaitAs(Consumer::Batching, delay);
    remaining -= delay;
  }
  if (items_.Empty() && remaining > 0) {
    WaitAs(Consumer::Sleeping, remaining);
  }
}

void WorkQueue::WaitAs(Consumer state, int milliseconds) {
  consumer_ = state;
  thread_.Unlock();
  thread_.Wait(milliseconds, Thread::WaitFor::Work);
  thread_.Lock();
  consumer_ = Consumer::Busy;
}

}  // namespace Tav
