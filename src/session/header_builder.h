// Builds the header of a record: what it carries besides its events. docs/record-format.md
// describes the layout.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "machine/client_info.h"
#include "model/built_record.h"
#include "model/library_config.h"
#include "model/product_identity.h"
#include "session/intake.h"
#include "session/json_data.h"
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

// Session thread only.
class HeaderBuilder {
 public:
  // Borrows the product's data and the description of the machine, which may still be incomplete.
  HeaderBuilder(const ProductInfo& product, const ClientEnv& client, Consent consent)
      : product_(product), client_(client), consent_(consent) {}

  void Set(RecordHeader header) { header_ = std::move(header); }
  const RecordHeader& Get() const { return header_; }
  void SetEndpoint(std::string id) { header_.endpointId = std::move(id); }

  // The estimated size of what every record carries besides its events.
  int OverheadEstimate() const;
  // Adds the header with the data that the record carries to an empty document. Returns the
  // estimated size.
  size_t BeginData(JsonData& data, const CarriedData& carried) const;

 private:
  size_t AddIdentity(JsonData& data) const;
  size_t AddTags(JsonData& data) const;
  size_t AddProductEnvironment(JsonData& data) const;
  size_t AddClientEnvironment(JsonData& data) const;

  const ProductInfo& product_;
  const ClientEnv& client_;
  const Consent consent_;
  RecordHeader header_;
};

}  // namespace Tav
