// One piece of work on its way from a host's thread to the session thread.
#pragma once

#include <memory>

#include "model/handles.h"
#include "util/time_stamp.h"

namespace Tav {

// The numbers appear in log lines.
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

// An item that takes over `event`, stamped now. It stands in the event's own memory, so that
// queueing an event allocates nothing. When memory runs out the event is freed and null returned.
WorkItemPtr MakeEventItem(TavEvent_s* event);

// A ProdEnv item that takes over `value`, likewise.
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

}  // namespace Tav
