// Collects accepted events until they fill a record or a record is due.
#pragma once

#include <cstdint>
#include <optional>

#include "journal/event_reader.h"
#include "session/record_builder.h"
#include "session/record_store.h"
#include "session/unsent_changes.h"

namespace Tav {

// Accepted events that are in no record yet, in order of arrival: a part of the log. Events in it
// that a rule has dropped do not count.
class PendingEvents final : public EventSource {
 public:
  // Borrows the reader of the log.
  explicit PendingEvents(EventReader& reader) : reader_(reader) {}

  bool Empty() const override { return count_ == 0; }
  const EntryView* First() override;
  void RemoveFirst() override;

  int64_t Count() const { return count_; }
  // The sum of the events' estimated sizes, in bytes.
  int64_t EstimatedSize() const { return size_; }
  // The place in the log before which no event is pending.
  EventReader::Position Begin() const { return Empty() ? end_ : begin_; }
  // The place in the log after the last event that was added or skipped.
  EventReader::Position End() const { return end_; }

  // Adds the next event of the log, which was accepted.
  void Append(const EventReader::Item& item);
  // Skips the next event of the log, which a rule has dropped.
  void Skip(const EventReader::Item& item) { end_ = item.end; }
  // Drops all events, also for a later run.
  void DropAll();
  // After a record was built: the log may move what was read ahead.
  void ForgetFirst() { first_.reset(); }

  // For a record that could not be built: where its events begin.
  struct Mark {
    EventReader::Position begin;
    int64_t size;
    int64_t count;
  };
  Mark GetMark() const { return {begin_, size_, count_}; }
  void ReturnTo(const Mark& mark);

 private:
  void Clear();

  EventReader& reader_;
  EventReader::Position begin_ = 0;
  EventReader::Position end_ = 0;
  int64_t size_ = 0;
  int64_t count_ = 0;
  std::optional<EventReader::Item> first_;  // read ahead
};

// Session thread only.
class EventBatch {
 public:
  // Borrows all of them.
  EventBatch(RecordBuilder& builder, UnsentChanges& changes, EventReader& reader)
      : builder_(builder), changes_(changes), pending_(reader) {}

  // Estimates the size of a record without events. Call once the endpoint is known, before the
  // first event.
  void EstimateOverhead() { overheadEstimate_ = builder_.Header().OverheadEstimate(); }

  PendingEvents& Pending() { return pending_; }
  const PendingEvents& Pending() const { return pending_; }

  // Whether there is room in the store and enough for a full record; with `all`, anything at all,
  // even changes without events.
  bool Due(bool all, const RecordStore& store) const;
  // Appends the next record to the store.
  void BuildNext(RecordStore& store);
  // Appends records to the store while one is due. Events stay pending while the store is full.
  void BuildRecords(bool all, RecordStore& store);

 private:
  std::unique_ptr<BuiltRecord> BuildRecord();

  RecordBuilder& builder_;
  UnsentChanges& changes_;
  PendingEvents pending_;
  int overheadEstimate_ = 0;
};

}  // namespace Tav
