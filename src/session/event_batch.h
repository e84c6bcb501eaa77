// Collects accepted events until they fill a record or a record is due.
#pragma once

#include <cstdint>

#include "session/record_builder.h"
#include "session/record_store.h"
#include "session/unsent_changes.h"
#include "session/work_queue.h"

namespace Tav {

// Accepted events that are in no record yet, in order of arrival.
class PendingEvents {
 public:
  bool Empty() const { return items_.Empty(); }
  // The sum of the events' estimated sizes, in bytes.
  int64_t EstimatedSize() const { return size_; }
  // Borrowed until it is taken; null when empty.
  const WorkItem* First() const { return items_.First(); }

  void Append(WorkItemPtr item);
  WorkItemPtr TakeFirst();
  // Frees everything.
  void Clear();

 private:
  WorkList items_;
  int64_t size_ = 0;
};

// Session thread only.
class EventBatch {
 public:
  // Borrows both.
  EventBatch(RecordBuilder& builder, UnsentChanges& changes)
      : builder_(builder), changes_(changes) {}

  // Estimates the size of a record without events. Call once the endpoint is known, before the
  // first event.
  void EstimateOverhead() { overheadEstimate_ = builder_.OverheadEstimate(); }

  bool Empty() const { return pending_.Empty(); }
  void Append(WorkItemPtr item) { pending_.Append(std::move(item)); }
  // Frees the events.
  void Clear() { pending_.Clear(); }

  // Appends full records to the store; with `all`, records of all pending events and changes, even
  // of changes without events.
  void BuildRecords(bool all, RecordStore& store);

 private:
  RecordBuilder& builder_;
  UnsentChanges& changes_;
  PendingEvents pending_;
  int overheadEstimate_ = 0;
};

}  // namespace Tav
