// Builds records from pending events: one compressed JSON document each. docs/record-format.md
// describes the layout.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "machine/client_info.h"
#include "model/built_record.h"
#include "model/library_config.h"
#include "model/product_identity.h"
#include "session/breadcrumbs.h"
#include "session/intake.h"
#include "session/json_data.h"
#include "session/record_text.h"
#include "session/unsent_changes.h"
#include "storage/product_info.h"
#include "util/version.h"

namespace Tav {

// What identifies the host in every record.
struct RecordHeader {
  // Of the run whose events are reported; nothing for this run.
  std::optional<ProductIdentity> product;
  std::string libraryVersion = kLibraryVersion;
  std::string endpointId;
  std::string customerId;
  std::string userId;
  std::string productContext;
  std::string productComponentName;
  TagMap tags;
};

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
      : product_(product), client_(client), consent_(consent) {}

  void SetHeader(RecordHeader header) { header_ = std::move(header); }
  const RecordHeader& Header() const { return header_; }
  void SetEndpoint(std::string id) { header_.endpointId = std::move(id); }
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

  // The estimated size of what every record carries besides its events.
  int OverheadEstimate() const;

  // Builds one record of as many pending events as fit, oldest first and all of one component, and
  // of the changes that it has to carry. Removes the events from `pending`. Null when there are
  // neither events nor a change that is in no record yet. Throws std::bad_alloc, after a warning if
  // the record could not be written. Some events are then removed and in no record; call
  // ReturnToMark before they are added again.
  std::unique_ptr<BuiltRecord> BuildOneJsonRecord(EventSource& pending,
                                                  const UnsentChanges& changes);

 private:
  size_t BeginData(JsonData& data, const CarriedData& carried) const;
  size_t AddIdentity(JsonData& data) const;
  size_t AddTags(JsonData& data) const;
  size_t AddProductEnvironment(JsonData& data) const;
  size_t AddClientEnvironment(JsonData& data) const;
  void AddEvents(RecordText& record, EventSource& pending, size_t size);
  void AddEvent(JsonText& text, const EntryView& entry);

  const ProductInfo& product_;
  const ClientEnv& client_;
  const Consent consent_;
  RecordHeader header_;
  JsonText sessionEnvironment_{0};  // a member of each reported event
  Breadcrumbs breadcrumbs_;
  int maxRecordSize_ = 0;
  std::string componentName_;  // of the record being built
  std::string componentVersion_;
};

}  // namespace Tav
