// Builds records from pending events: one compressed JSON document each. docs/record-format.md
// describes the layout.
#pragma once

#include <memory>
#include <string>

#include "machine/client_info.h"
#include "model/built_record.h"
#include "session/breadcrumbs.h"
#include "session/header_builder.h"
#include "session/intake.h"
#include "session/record_text.h"
#include "session/unsent_changes.h"
#include "storage/product_info.h"

namespace Tav {

// Events for records, oldest first.
class EventSource {
 public:
  EventSource() = default;
  EventSource(const EventSource&) = default;
  EventSource& operator=(const EventSource&) = delete;
  virtual ~EventSource() = default;

  virtual bool Empty() const = 0;
  // Borrowed until it is removed; null if there is none.
  virtual const EntryView* First() = 0;
  virtual void RemoveFirst() = 0;
};

// Session thread only.
class RecordBuilder {
 public:
  // Borrows the product's data and the description of the machine, which may still be incomplete.
  RecordBuilder(const ProductInfo& product, const ClientEnv& client, Consent consent)
      : header_(product, client, consent) {}

  HeaderBuilder& Header() { return header_; }
  const HeaderBuilder& Header() const { return header_; }
  // An object that every reported event carries under "se"; null for none.
  void SetSessionEnvironment(const JsonPtr& object);
  void SetMaxRecordSize(int bytes) { maxRecordSize_ = bytes; }
  int MaxRecordSize() const { return maxRecordSize_; }
  // See Breadcrumbs::SetLength.
  void SetBreadcrumbLength(int length) { breadcrumbs_.SetLength(length); }

  // An event that is in no record of this builder, but which errors after it may refer to.
  void Remember(const EntryView& entry);

  // See Breadcrumbs. Call SetMark before a record is built.
  void SetMark() { breadcrumbs_.SetMark(); }
  void ReturnToMark() { breadcrumbs_.ReturnToMark(); }

  // Builds one record of as many pending events as fit, oldest first and all of one component, and
  // of the changes that it has to carry. Removes the events from `pending`. Null when there are
  // neither events nor a change that is in no record yet. Throws std::bad_alloc, after a warning if
  // the record could not be written. Some events are then removed and in no record; call
  // ReturnToMark before they are added again.
  std::unique_ptr<BuiltRecord> BuildOneJsonRecord(EventSource& pending,
                                                  const UnsentChanges& changes);

 private:
  void AddEvents(RecordText& record, EventSource& pending, size_t size);
  void AddEvent(JsonText& text, const EntryView& entry);

  HeaderBuilder header_;
  JsonText sessionEnvironment_{0};  // a member of each reported event
  Breadcrumbs breadcrumbs_;
  int maxRecordSize_ = 0;
  std::string componentName_;  // of the record being built
  std::string componentVersion_;
};

}  // namespace Tav
