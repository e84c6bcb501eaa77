// The requests of host threads that wait for the session thread, all but events.
#pragma once

#include <memory>

#include "journal/event_log.h"
#include "model/handles.h"

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

}  // namespace Tav
