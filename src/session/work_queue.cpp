#include "session/work_queue.h"

#include <algorithm>
#include <utility>

namespace Tav {

namespace {

// So many waiting items end the lingering early, to keep the memory they take small.
constexpr int kLingerBacklog = 512;

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

void WorkQueue::AddItem(WorkItemPtr item, Urgency urgency) {
  AddItems(std::move(item), nullptr, urgency);
}

void WorkQueue::AddItems(WorkItemPtr first, WorkItemPtr second, Urgency urgency) {
  bool wake = false;
  {
    const Locked locked(thread_);
    for (WorkItemPtr* item : {&first, &second}) {
      if (*item != nullptr) {
        items_.Append(std::move(*item));
      }
    }
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
    case Consumer::Lingering:
      return urgency == Urgency::Now || items_.Count() >= kLingerBacklog;
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
  if (tookItems_ && lingerMilliseconds_ > 0) {
    const int linger = std::min(lingerMilliseconds_, remaining);
    WaitAs(Consumer::Lingering, linger);
    remaining -= linger;
  }
  if (items_.Empty() && remaining > 0) {
    WaitAs(Consumer::Sleeping, remaining);
  }
}

void WorkQueue::WaitAs(Consumer state, int milliseconds) {
  consumer_ = state;
  thread_.Unlock();
  thread_.Wait(milliseconds, false);
  thread_.Lock();
  consumer_ = Consumer::Busy;
}

}  // namespace Tav
