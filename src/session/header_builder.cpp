#include "session/header_builder.h"

#include <string_view>

#include "model/event_size.h"
#include "model/record_keys.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

size_t AddIfSet(JsonData& data, std::string_view key, const std::string& text) {
  return text.empty() ? 0 : data.AddString(key, text);
}

size_t SizeIfSet(std::string_view key, const std::string& text) {
  return text.empty() ? 0 : StringPairSize(key, text);
}

}  // namespace

int HeaderBuilder::OverheadEstimate() const {
  constexpr size_t kBraces = 10;
  const size_t size = kBraces + StringPairSize(Key::kProductName, product_.GetName()) +
                      StringPairSize(Key::kProductVersion, product_.GetVersion()) +
                      StringPairSize(Key::kPlatform, product_.GetPlatform()) +
                      StringPairSize(Key::kLibraryVersion, kLibraryVersion) +
                      StringPairSize(Key::kEndpoint, header_.endpointId) +
                      IntegerPairSize(Key::kLayoutVersion, Key::kLayoutVersionNumber) +
                      SizeIfSet(Key::kCustomer, header_.customerId) +
                      SizeIfSet(Key::kUser, header_.userId) +
                      SizeIfSet(Key::kProductContext, header_.productContext) +
                      SizeIfSet(Key::kProductComponent, header_.productComponentName);
  return static_cast<int>(size);
}

size_t HeaderBuilder::BeginData(JsonData& data, const CarriedData& carried) const {
  size_t size = AddIdentity(data) + AddTags(data);
  if (carried.product != 0) {
    TAV_TRACE("SM: BeginData: Adding product data");
    size += AddProductEnvironment(data);
  }
  if (carried.machine != 0 && consent_.AllowsMachineDescription()) {
    TAV_TRACE("SM: BeginData: Adding client data");
    size += AddClientEnvironment(data);
  }
  return size;
}

size_t HeaderBuilder::AddIdentity(JsonData& data) const {
  const ProductIdentity& product = header_.product ? *header_.product : product_.Identity();
  size_t size = data.AddString(Key::kProductName, product.name);
  size += data.AddString(Key::kProductVersion, product.version);
  size += data.AddString(Key::kPlatform, product.platform);
  size += data.AddString(Key::kLibraryVersion, header_.libraryVersion);
  size += data.AddInteger(Key::kLayoutVersion, Key::kLayoutVersionNumber);
  size += data.AddString(Key::kEndpoint, header_.endpointId);
  size += AddIfSet(data, Key::kCustomer, header_.customerId);
  size += AddIfSet(data, Key::kUser, header_.userId);
  size += AddIfSet(data, Key::kProductContext, header_.productContext);
  size += AddIfSet(data, Key::kProductComponent, header_.productComponentName);
  return size;
}

size_t HeaderBuilder::AddTags(JsonData& data) const {
  size_t size = data.OpenObject(Key::kTags);
  for (const auto& [category, tags] : header_.tags) {
    size += data.OpenArray(category);
    for (const std::string& tag : tags) {
      size += data.AddValue({}, MakeJsonString(tag));
    }
    data.MoveUp();
  }
  data.MoveUp();
  return size;
}

size_t HeaderBuilder::AddProductEnvironment(JsonData& data) const {
  bool isIncremental = false;
  const EnvMap* const values = product_.GetEnvData(isIncremental);
  if (values == nullptr) {
    return 0;
  }
  size_t size = data.OpenObject(Key::kProductEnvironment);
  for (const auto& [key, value] : *values) {
    switch (value.type) {
      case EnvType::String:
        size += data.AddString(key, value.text);
        break;
      case EnvType::Number:
        size += data.AddReal(key, value.number);
        break;
      case EnvType::None:
        LogError("SM: AddProductInfo - invalid data type %d (key: %s)",
                 static_cast<int>(value.type), key.c_str());
        break;
    }
  }
  size += data.AddString(Key::kIncremental, isIncremental ? "true" : "false");
  size += data.AddString(Key::kTime, LocalTimeStamp());
  data.MoveUp();
  if (isIncremental) {
    TAV_DEBUG("SM: Added incremental PE");
  } else {
    TAV_DEBUG("SM: Added full PE");
  }
  return size;
}

size_t HeaderBuilder::AddClientEnvironment(JsonData& data) const {
  if (client_.empty()) {
    return 0;
  }
  size_t size = data.OpenObject(Key::kClientEnvironment);
  size += data.AddString(Key::kTime, LocalTimeStamp());
  for (const auto& [label, text] : client_) {
    size += data.AddString(label, text);
  }
  data.MoveUp();
  return size;
}

}  // namespace Tav
