// The queue from host threads to the session thread.
#pragma once

#include <memory>
#include <string>

#include "model/handles.h"
#include "util/thread.h"
#include "util/time_stamp.h"

namespace Tav {

// The request in an item. The numbers appear in log lines.
enum class ItemCode : int {
  Client = 0,
  Event = 1,
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
  TimeStamp time{};             // when the item was made; becomes the event's "t"
  TavEvent_s* event = nullptr;  // owned, for Event
  TavValue_s* value = nullptr;  // owned, for ProdEnv
};

struct WorkItemDeleter {
  void operator()(WorkItem* item) const;
};
using WorkItemPtr = std::unique_ptr<WorkItem, WorkItemDeleter>;

// An item without a payload, stamped now. Null when memory runs out.
WorkItemPtr MakeWorkItem(ItemCode code);

// An item that owns `event`, stamped now. It is placed in the event's own memory, so queueing an
// event allocates nothing. When memory runs out, frees the event and returns null.
WorkItemPtr MakeEventItem(TavEvent_s* event);

// The same for a ProdEnv item that owns `value`.
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
  WorkItemPtr TakeFirst();

 private:
  WorkItem* head_ = nullptr;
  WorkItem* tail_ = nullptr;
  int count_ = 0;
};

enum class CommitResult { Sent, NotSent, CacheWriteFailed };

// The arguments and results of synchronous requests. A host writes them before it queues the
// request and reads them after the answer; in between they belong to the session thread.
struct RequestData {
  CommitResult commit = CommitResult::NotSent;
  std::string endpointId;   // empty while it is unknown
  std::string pulledBlock;  // a record as text; kept until a host has taken it
  std::string pushedBlock;
};

// How soon the session thread must look at an item.
enum class Urgency {
  Soon,  // within about a second: events
  Now,   // a host waits for the answer, or the library terminates
};

// A list under the thread's lock, which is held for a few instructions.
//
// Waking a thread is a system call that costs the host many microseconds. AddItem therefore wakes
// the session thread only when it sleeps. A busy session thread checks the queue before it waits.
// After a batch of events the session thread waits for the batch delay, up to a second: events that
// arrive meanwhile do not wake it unless there are many. Then it sleeps until its timers expire,
// and the next item wakes it.
class WorkQueue {
 public:
  // Borrows the thread for its lock and its work signal.
  explicit WorkQueue(Thread& thread) : thread_(thread) {}

  // Any thread. Does nothing with a null item.
  void AddItem(WorkItemPtr item, Urgency urgency);

  // On the session thread: takes all items. When there are none, first waits for at most
  // `timeoutSeconds`; 0 never waits. The result may be empty.
  WorkList TakeItems(int timeoutSeconds);

  // On the session thread. With 0 every item wakes the session thread.
  void SetBatchDelay(int milliseconds) { batchDelay_ = milliseconds; }

 private:
  enum class Consumer { Busy, Batching, Sleeping };

  bool MustWake(Urgency urgency) const;
  // Both are called, and return, with the lock held.
  void WaitAs(Consumer state, int milliseconds);
  void WaitForItems(int timeoutSeconds);

  Thread& thread_;
  WorkList items_;                      // guarded by the lock
  Consumer consumer_ = Consumer::Busy;  // guarded by the lock
  bool wakePending_ = false;            // guarded by the lock
  bool tookItems_ = false;              // session thread only
  int batchDelay_ = 0;                  // milliseconds; session thread only
};

}  // namespace Tav
