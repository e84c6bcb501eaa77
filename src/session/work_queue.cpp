#include "session/work_queue.h"

#include <algorithm>
#include <utility>

namespace Tav {

namespace {

// So many waiting items end the lingering early, to keep the memory they take small: some three
// megabytes.
constexpr int kLingerBacklog = 2048;

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
