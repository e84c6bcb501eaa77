// Turns pending events into uploaded records: one JSON document each, compressed. The layout is
// described in docs/record-format.md.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "machine/client_info.h"
#include "model/built_record.h"
#include "model/library_config.h"
#include "session/breadcrumbs.h"
#include "session/intake.h"
#include "session/json_data.h"
#include "session/unsent_changes.h"
#include "session/work_queue.h"
#include "storage/product_info.h"

namespace Tav {

// What identifies the host in every record.
struct RecordHeader {
  std::string endpointId;
  std::string customerId;
  std::string userId;
  std::string productContext;
  std::string productComponentName;
  TagMap tags;
};

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
class RecordBuilder {
 public:
  // Borrows the product's data and the description of the machine, which may still be incomplete.
  RecordBuilder(const ProductInfo& product, const ClientEnv& client, Consent consent)
      : product_(product), client_(client), consent_(consent) {}

  void SetHeader(RecordHeader header) { header_ = std::move(header); }
  void SetEndpoint(std::string id) { header_.endpointId = std::move(id); }
  // Values that every reported event carries under "se"; null or empty for none.
  void SetSessionEnvironment(const EnvMap* values);
  void SetMaxRecordSize(int bytes) { maxRecordSize_ = bytes; }
  int MaxRecordSize() const { return maxRecordSize_; }
  // How many places and commands before an error each session keeps; 0 or less for none.
  void SetBreadcrumbLength(int length) { breadcrumbs_.SetLength(length); }

  // The estimated size of what every record carries besides its events.
  int OverheadEstimate() const;

  // One record of as many pending events as fit, oldest first, all of one component, and of the
  // changes that are in no record yet. The events leave `pending`. Null when there are neither
  // events nor such changes; null with a warning when the record could not be written: its events
  // are lost.
  std::unique_ptr<BuiltRecord> BuildOneJsonRecord(PendingEvents& pending,
                                                  const UnsentChanges& changes);

 private:
  size_t BeginData(JsonData& data, const UnsentChanges& changes) const;
  size_t AddIdentity(JsonData& data) const;
  size_t AddTags(JsonData& data) const;
  size_t AddProductEnvironment(JsonData& data) const;
  size_t AddClientEnvironment(JsonData& data) const;
  void AddEvents(JsonData& data, PendingEvents& pending, size_t size, WorkList& consumed);
  void AddEvent(JsonData& data, WorkItem& item);
  void UpdateBreadcrumbs(TavEvent_s& event);

  const ProductInfo& product_;
  const ClientEnv& client_;
  const Consent consent_;
  RecordHeader header_;
  JsonPtr sessionEnvironment_;  // shared by all events
  Breadcrumbs breadcrumbs_;
  int maxRecordSize_ = 0;
  std::string componentName_;  // of the record being built
  std::string componentVersion_;
};

}  // namespace Tav
