// What a later run needs to build the records of a run whose process has died.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "model/library_config.h"
#include "model/product_identity.h"
#include "util/json.h"

namespace Tav {

struct RunBlock {
  ProductIdentity product;
  std::string libraryVersion;
  std::string endpointId;  // empty until it is known
  std::string customerId;
  std::string userId;
  std::string productContext;
  std::string productComponentName;
  TagMap tags;
  JsonPtr sessionEnvironment;  // an object; null for none
  int breadcrumbLength = 0;
};

// Both throw std::bad_alloc.
std::vector<std::byte> EncodeRunBlock(const RunBlock& block);

// Nothing if the bytes are damaged.
std::optional<RunBlock> DecodeRunBlock(std::span<const std::byte> bytes);

}  // namespace Tav
