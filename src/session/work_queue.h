// The queue from host threads to the session thread: the log of accepted events, and the items with
// all other requests.
#pragma once

#include <cstddef>
#include <mutex>
#include <span>

#include "journal/event_log.h"
#include "session/work_items.h"
#include "util/thread.h"

namespace Tav {

// What hosts have queued: items, and events before `end`.
struct Work {
  WorkList items;
  EventLog::Position end = 0;
};

// A list and a log under the thread's lock, which is held for a few instructions.
//
// Waking a thread is a system call that costs the host many microseconds. An event therefore wakes
// the session thread only when it sleeps. A busy session thread checks the queue before it waits.
// After a batch of events the session thread waits for the batch delay, up to a second: events that
// arrive meanwhile do not wake it unless there are many. Then it sleeps until its timers expire,
// and the next item wakes it.
class WorkQueue {
 public:
  // Borrows the thread for its lock and its work signal.
  explicit WorkQueue(Thread& thread) : thread_(thread) {}

  // Any thread. Does nothing with a null item.
  void AddItem(WorkItemPtr item);
  // Any thread. False if the log takes no more; the session thread then reports how many it did not
  // take.
  bool AddEvent(std::span<const std::byte> entry);

  // On the session thread: takes everything. When there is nothing new, first waits for at most
  // `timeoutSeconds`; 0 never waits.
  Work TakeWork(int timeoutSeconds);

  // Calls `use` with the log while the lock is held.
  template <typename Use>
  auto WithLog(Use use) {
    const std::lock_guard guard(thread_.QueueLock());
    return use(log_);
  }
  // On the session thread, without the lock.
  EventReader& Reader() { return log_.Reader(); }

  // On the session thread. With 0 every item wakes the session thread.
  void SetBatchDelay(int milliseconds) { batchDelay_ = milliseconds; }

 private:
  enum class Consumer { Busy, Batching, Sleeping };

  bool MustWakeForEvent() const;
  bool Wake(bool must);
  bool NothingNew() const { return items_.Empty() && log_.End() == taken_; }
  // Both are called, and return, with the lock held.
  void WaitAs(Consumer state, int milliseconds);
  void WaitForWork(int timeoutSeconds);

  Thread& thread_;
  EventLog log_;                        // locking: see its operations
  WorkList items_;                      // guarded by the lock
  EventLog::Position taken_ = 0;        // guarded by the lock
  int newEvents_ = 0;                   // guarded by the lock; since the last take
  Consumer consumer_ = Consumer::Busy;  // guarded by the lock
  bool wakePending_ = false;            // guarded by the lock
  bool tookWork_ = false;               // session thread only
  int batchDelay_ = 0;                  // milliseconds; session thread only
};

}  // namespace Tav
