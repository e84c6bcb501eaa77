#include "test_access/kept_parts.h"

#include "cache/cache_manager.h"
#include "machine/client_info.h"
#include "machine/endpoint.h"
#include "storage/product_info.h"
#include "util/json.h"
#include "util/storage_directory.h"

namespace Tav {

namespace {

constexpr int32_t kProductAdded = 2;

// A number as JSON writes it, whatever the locale.
std::string TextOf(const EnvValue& value) {
  if (value.type != EnvType::Number) {
    return value.text;
  }
  const JsonPtr number(json_real(value.number));
  char text[64];
  const size_t length = json_dumpb(number.Get(), text, sizeof text, JSON_ENCODE_ANY);
  return std::string(text, length <= sizeof text ? length : 0);
}

// A value of type None for a text that is no JSON number.
EnvValue ParseNumber(const char* text) {
  const JsonPtr value(json_loads(text, JSON_DECODE_ANY | JSON_DECODE_INT_AS_REAL, nullptr));
  return json_is_real(value.Get()) ? EnvValue::Number(json_real_value(value.Get())) : EnvValue();
}

}  // namespace

KeptParts::KeptParts() = default;

KeptParts::~KeptParts() = default;

void KeptParts::Clear() {
  DropViews();
  clientInfo.reset();
  productInfo.reset();
  endpoint.reset();
  storage.reset();
  cacheManager.reset();
}

void KeptParts::DropViews() {
  clientView.reset();
  productView.reset();
  productEnvView.reset();
}

PersistentStorage::View* KeptParts::ViewOf(KeptPart part) const {
  switch (part) {
    case KeptPart::ClientView:
      return clientView.get();
    case KeptPart::ProductView:
      return productView.get();
    case KeptPart::ProductEnvView:
      return productEnvView.get();
    default:
      return nullptr;
  }
}

EnvValue KeptParts::FindValue(KeptPart part, const char* key) const {
  if (part == KeptPart::ClientInfo && clientInfo != nullptr) {
    const ClientEnv& env = clientInfo->GetClientEnv();
    const auto found = env.find(key);
    return found != env.end() ? EnvValue::String(found->second) : EnvValue();
  }
  if (part == KeptPart::ProductInfo && productInfo != nullptr) {
    EnvValue value;
    return productInfo->FindEnvValue(key, value) ? value : EnvValue();
  }
  if (part == KeptPart::Endpoint && endpoint != nullptr) {
    return EnvValue::String(endpoint->GetId());
  }
  if (part == KeptPart::CacheManager && cacheManager != nullptr) {
    return EnvValue::String(cacheManager->Prefix());
  }
  const PersistentStorage::View* const view = ViewOf(part);
  return view != nullptr ? view->GetValue(key) : EnvValue();
}

std::optional<std::string> KeptParts::FindText(KeptPart part, const char* key) const {
  const EnvValue value = FindValue(part, key);
  return value.type == EnvType::None ? std::nullopt : std::optional(TextOf(value));
}

int32_t OpenStorage(KeptParts& parts, bool timestamps, bool update) {
  parts.DropViews();
  if (parts.storage == nullptr) {
    parts.storage = std::make_unique<PersistentStorage>();
  }
  const auto access = update ? PersistentStorage::Access::Update : PersistentStorage::Access::Read;
  return YesOrNo(timestamps ? parts.storage->OpenTimestamps(access) : parts.storage->Open(access));
}

int32_t CreateClientView(KeptParts& parts) {
  if (parts.storage == nullptr) {
    return kFailed;
  }
  parts.clientView = std::make_unique<PersistentStorage::ClientView>(parts.storage.get());
  return kYes;
}

int32_t CreateProductView(KeptParts& parts, const ProductIdentity& product) {
  if (parts.storage == nullptr) {
    return kFailed;
  }
  parts.productView = std::make_unique<PersistentStorage::ProductView>(
      parts.storage.get(), product, PersistentStorage::Access::Update);
  return parts.productView->Added() ? kProductAdded : kYes;
}

int32_t CreateProductEnvView(KeptParts& parts, const ProductIdentity& product, bool settings) {
  if (parts.storage == nullptr) {
    return kFailed;
  }
  using Section = PersistentStorage::ProductEnvView::Section;
  parts.productEnvView = std::make_unique<PersistentStorage::ProductEnvView>(
      parts.storage.get(), product, settings ? Section::Settings : Section::Values,
      PersistentStorage::Access::Update);
  return kYes;
}

int32_t SetViewValue(KeptParts& parts,
                     KeptPart view,
                     const char* key,
                     const char* value,
                     bool isNumber) {
  PersistentStorage::View* const target = parts.ViewOf(view);
  if (target == nullptr) {
    return kFailed;
  }
  if (value == nullptr) {
    return YesOrNo(target->RemoveValue(key));
  }
  return YesOrNo(target->SetValue(key, isNumber ? ParseNumber(value) : EnvValue::String(value)));
}

int32_t CreateCacheManager(KeptParts& parts, const char* prefix) {
  if (*prefix == '\0') {
    return kFailed;
  }
  parts.cacheManager = std::make_unique<CacheManager>(GetStorageDirectory(), prefix);
  return YesOrNo(!parts.cacheManager->Disabled());
}

bool CreateEndpoint(KeptParts& parts, int32_t steps) {
  if ((steps & (kEndpointRead | kEndpointPersist)) != 0 && parts.storage == nullptr) {
    return false;
  }
  parts.endpoint = std::make_unique<Endpoint>();
  if ((steps & kEndpointRead) != 0) {
    parts.endpoint->IsChanged(parts.storage.get());
  }
  if ((steps & kEndpointCompute) != 0) {
    parts.endpoint->Compute();
  }
  if ((steps & kEndpointPersist) != 0) {
    parts.endpoint->Persist(parts.storage.get());
  }
  return true;
}

}  // namespace Tav
