// Builds records from pending events: one compressed JSON document each. docs/record-format.md
// describes the layout.
#pragma once

#include <memory>
#include <string>
#include <utility>

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

class PendingEvents;

// Session thread only.
class RecordBuilder {
 public:
  // Borrows the product's data and the description of the machine, which may still be incomplete.
  RecordBuilder(const ProductInfo& product, const ClientEnv& client, Consent consent)
      : product_(product), client_(client), consent_(consent) {}

  void SetHeader(RecordHeader header) { header_ = std::move(header); }
  void SetEndpoint(std::string id) { header_.endpointId = std::move(id); }
  // An object that every reported event carries under "se"; null for none.
  void SetSessionEnvironment(JsonPtr object) { sessionEnvironment_ = std::move(object); }
  void SetMaxRecordSize(int bytes) { maxRecordSize_ = bytes; }
  int MaxRecordSize() const { return maxRecordSize_; }
  // See Breadcrumbs::SetLength.
  void SetBreadcrumbLength(int length) { breadcrumbs_.SetLength(length); }

  // The estimated size of what every record carries besides its events.
  int OverheadEstimate() const;

  // Builds one record of as many pending events as fit, oldest first and all of one component, and
  // of the changes that it has to carry. Removes the events from `pending`. Null when there are
  // neither events nor a change that is in no record yet. Null with a warning when the record could
  // not be written; its events are then lost.
  std::unique_ptr<BuiltRecord> BuildOneJsonRecord(PendingEvents& pending,
                                                  const UnsentChanges& changes);

 private:
  size_t BeginData(JsonData& data, const CarriedData& carried) const;
  size_t AddIdentity(JsonData& data) const;
  size_t AddTags(JsonData& data) const;
  size_t AddProductEnvironment(JsonData& data) const;
  size_t AddClientEnvironment(JsonData& data) const;
  void AddEvents(JsonData& data, PendingEvents& pending, size_t size, WorkList& consumed);
  void AddEvent(JsonData& data, WorkItem& item);

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
