// The queue from host threads to the session thread: the log of accepted events, and the items with
// all other requests.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "journal/event_log.h"
#include "model/handles.h"
#include "util/thread.h"

namespace Tav {

// The request in an item. The numbers appear in log lines; 1 is no longer used.
enum class ItemCode : int {
  Client = 0,
  Suspend = 2,
  Resume = 3,
  Commit = 4,
  Term = 5,
  ProdEnv = 6,
  PullData = 7,
  PushData = 8,
  SuspendTerm = 9,
  Sync = 10,
};

struct WorkItem {
  WorkItem* next = nullptr;
  ItemCode code = ItemCode::Client;
  EventLog::Position position = 0;  // the item comes after the events before this place
  TavValue_s* value = nullptr;      // owned, for ProdEnv
};

struct WorkItemDeleter {
  void operator()(WorkItem* item) const;
};
using WorkItemPtr = std::unique_ptr<WorkItem, WorkItemDeleter>;

// An item without a payload. Null when memory runs out.
WorkItemPtr MakeWorkItem(ItemCode code);

// A ProdEnv item that owns `value`. When memory runs out, frees the value and returns null.
WorkItemPtr MakeProductItem(TavValue_s* value);

// A singly linked list of owned items, oldest first.
class WorkList {
 public:
  WorkList() = default;
  WorkList(WorkList&& other) noexcept;
  WorkList& operator=(WorkList&&) = delete;
  ~WorkList();

  bool Empty() const { return head_ == nullptr; }
  int Count() const { return count_; }
  // Borrowed; null when empty.
  const WorkItem* First() const { return head_; }
  void Append(WorkItemPtr item);
  void AppendAll(WorkList&& other);
  WorkItemPtr TakeFirst();

 private:
  WorkItem* head_ = nullptr;
  WorkItem* tail_ = nullptr;
  int count_ = 0;
};

enum class CommitResult { Sent, NotSent, CacheWriteFailed };

// The arguments and results of synchronous requests. A host writes those of its request before it
// queues it and reads them after the answer; in between they belong to the session thread.
struct RequestData {
  CommitResult commit = CommitResult::NotSent;
  std::string endpointId;   // empty while it is unknown
  std::string pulledBlock;  // a record as text; kept until a host has taken it
  std::string pushedBlock;
};

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
