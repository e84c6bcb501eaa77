// Turns pending events into uploaded records: one JSON document each, compressed. The layout is
// described in docs/record-format.md.
#pragma once

#include <memory>
#include <string>

#include "machine/client_env.h"
#include "model/built_record.h"
#include "model/library_config.h"
#include "session/json_data.h"
#include "session/pending_events.h"
#include "session/saved_lists.h"
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
  bool optOut = false;
};

// What has changed since it was last sent or stored.
struct ChangedFlags {
  bool productEnvironment = false;
  bool client = false;
  bool app = false;  // either of them, and not yet written into a record
  bool productDataPersisted = false;
};

// Used by the session thread only. Borrows the product information and the flags.
class RecordBuilder {
 public:
  RecordBuilder(const ProductInfo& product, ChangedFlags& changed)
      : product_(product), changed_(changed) {}

  void SetHeader(RecordHeader header) { header_ = std::move(header); }
  void SetEndpoint(std::string id) { header_.endpointId = std::move(id); }
  // The description of the machine, borrowed; it may still be filled later.
  void SetClientEnvironment(const ClientEnv* values) { clientEnvironment_ = values; }
  // Values that every reported event carries under "se"; null or empty for none.
  void SetSessionEnvironment(const EnvMap* values);
  void SetMaxRecordSize(int bytes) { maxRecordSize_ = bytes; }
  void SetSavedListLength(int length) { savedLists_.SetLength(length); }

  // The estimated size of what every record carries besides its events.
  int OverheadEstimate() const;

  // One record of as many pending events as fit, oldest first, all of one component; they leave
  // `pending`. Null when there is nothing to say, or (with a warning, the events being lost) when
  // the record could not be written.
  std::unique_ptr<BuiltRecord> BuildOneJsonRecord(PendingEvents& pending);

 private:
  size_t BeginData(JsonData& data);
  size_t AddIdentity(JsonData& data) const;
  size_t AddTags(JsonData& data) const;
  size_t AddProductEnvironment(JsonData& data) const;
  size_t AddClientEnvironment(JsonData& data) const;
  void AddEvents(JsonData& data, PendingEvents& pending, size_t size, WorkList& consumed);
  void AddEvent(JsonData& data, WorkItem& item);
  void SaveOrAttachLists(TavEvent_s& event);

  const ProductInfo& product_;
  ChangedFlags& changed_;
  RecordHeader header_;
  const ClientEnv* clientEnvironment_ = nullptr;
  JsonPtr sessionEnvironment_;  // shared by all events
  SavedLists savedLists_;
  int maxRecordSize_ = 0;
  std::string componentName_;  // of the record being built
  std::string componentVersion_;
};

}  // namespace Tav
