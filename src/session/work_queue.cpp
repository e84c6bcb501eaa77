#include "session/work_queue.h"

#include <algorithm>
#include <utility>

namespace Tav {

namespace {

// This many waiting events end the batch delay early.
constexpr int kMaxBatch = 2048;

}  // namespace

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
