// Events that have been accepted and wait to become part of a record, in order of arrival.
#pragma once

#include <cstdint>

#include "session/work_item.h"

namespace Tav {

// Used by the session thread only.
class PendingEvents {
 public:
  bool Empty() const { return items_.Empty(); }
  // The sum of the events' estimated sizes, in bytes.
  int64_t EstimatedSize() const { return size_; }
  // Borrowed until it is taken; null when empty.
  const WorkItem* First() const { return items_.First(); }

  void Append(WorkItemPtr item);
  WorkItemPtr TakeFirst();
  // Drops and frees everything.
  void Clear();

 private:
  WorkList items_;
  int64_t size_ = 0;
};

}  // namespace Tav
