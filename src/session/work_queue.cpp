#include "session/work_queue.h"

#include <algorithm>
#include <new>
#include <utility>

#include "util/logger.h"

namespace Tav {

namespace {

// This many waiting events end the batch delay early.
constexpr int kMaxBatch = 2048;

}  // namespace

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

// Returns whether the caller must set the thread's signal, after it has released the lock.
bool WorkQueue::Wake(bool must) {
  const bool wake = must && !wakePending_;
  wakePending_ = wakePending_ || wake;
  return wake;
}

void WorkQueue::AddItem(WorkItemPtr item) {
  if (item == nullptr) {
    return;
  }
  bool wake = false;
  {
    const std::lock_guard guard(thread_.QueueLock());
    item->position = log_.End();
    items_.Append(std::move(item));
    wake = Wake(consumer_ != Consumer::Busy);
  }
  if (wake) {
    thread_.Signal();
  }
}

bool WorkQueue::AddEvent(std::span<const std::byte> entry) {
  bool wake = false;
  {
    const std::lock_guard guard(thread_.QueueLock());
    if (!log_.Append(entry)) {
      return false;
    }
    ++newEvents_;
    wake = Wake(MustWakeForEvent());
  }
  if (wake) {
    thread_.Signal();
  }
  return true;
}

bool WorkQueue::MustWakeForEvent() const {
  switch (consumer_) {
    case Consumer::Busy:
      return false;
    case Consumer::Batching:
      return newEvents_ >= kMaxBatch || log_.Segments().RunsLow();
    case Consumer::Sleeping:
      return true;
  }
  return true;
}

Work WorkQueue::TakeWork(int timeoutSeconds) {
  const std::lock_guard guard(thread_.QueueLock());
  if (NothingNew() && timeoutSeconds != 0) {
    WaitForWork(timeoutSeconds);
  }
  wakePending_ = false;
  tookWork_ = !NothingNew();
  taken_ = log_.End();
  newEvents_ = 0;
  return {std::move(items_), taken_};
}

void WorkQueue::WaitForWork(int timeoutSeconds) {
  int remaining = timeoutSeconds * 1000;
  if (tookWork_ && batchDelay_ > 0) {
    const int delay = std::min(batchDelay_, remaining);
    WaitAs(Consumer::Batching, delay);
    remaining -= delay;
  }
  if (NothingNew() && remaining > 0) {
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
