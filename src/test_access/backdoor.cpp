// Makes, reads and frees the parts that a test-access object keeps.
#include "test_access/backdoor.h"

#include <string_view>
#include <utility>

#include "api/entry_guard.h"
#include "api/entry_points.h"
#include "cache/cache_manager.h"
#include "machine/client_info.h"
#include "machine/endpoint.h"
#include "storage/product_info.h"
#include "util/json.h"
#include "util/storage_directory.h"

using namespace Tav;

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

Backdoor::Backdoor() = default;

Backdoor::~Backdoor() = default;

int32_t Backdoor::CreateClientInfo() noexcept {
  return Boundary(kFailed, [&] {
    clientInfo_ = std::make_unique<ClientInfo>();
    return kYes;
  });
}

int32_t Backdoor::CreateProductInfo(const char* name, const char* version) noexcept {
  return Boundary(kFailed, [&] {
    productInfo_ = std::make_unique<ProductInfo>(OrEmpty(name), OrEmpty(version), nullptr);
    return kYes;
  });
}

int32_t Backdoor::OpenStorage(int32_t timestamps, int32_t update) noexcept {
  return Boundary(kFailed, [&] {
    DropViews();
    if (storage_ == nullptr) {
      storage_ = std::make_unique<PersistentStorage>();
    }
    const auto access =
        update != 0 ? PersistentStorage::Access::Update : PersistentStorage::Access::Read;
    return YesOrNo(timestamps != 0 ? storage_->OpenTimestamps(access) : storage_->Open(access));
  });
}

int32_t Backdoor::CreateClientView() noexcept {
  return Boundary(kFailed, [&] {
    if (storage_ == nullptr) {
      return kFailed;
    }
    clientView_ = std::make_unique<PersistentStorage::ClientView>(storage_.get());
    return kYes;
  });
}

int32_t Backdoor::CreateProductView(const char* name,
                                    const char* version,
                                    const char* platform) noexcept {
  return Boundary(kFailed, [&] {
    if (storage_ == nullptr) {
      return kFailed;
    }
    productView_ = std::make_unique<PersistentStorage::ProductView>(
        storage_.get(), ProductIdentity{OrEmpty(name), OrEmpty(version), OrEmpty(platform)},
        PersistentStorage::Access::Update);
    return productView_->Added() ? kProductAdded : kYes;
  });
}

int32_t Backdoor::CreateProductEnvView(const char* name,
                                       const char* version,
                                       const char* platform,
                                       int32_t settings) noexcept {
  return Boundary(kFailed, [&] {
    if (storage_ == nullptr) {
      return kFailed;
    }
    using Section = PersistentStorage::ProductEnvView::Section;
    productEnvView_ = std::make_unique<PersistentStorage::ProductEnvView>(
        storage_.get(), ProductIdentity{OrEmpty(name), OrEmpty(version), OrEmpty(platform)},
        settings != 0 ? Section::Settings : Section::Values, PersistentStorage::Access::Update);
    return kYes;
  });
}

const char* Backdoor::CreateEndpoint(int32_t steps) noexcept {
  return Boundary<const char*>(nullptr, [&]() -> const char* {
    if ((steps & (kEndpointRead | kEndpointPersist)) != 0 && storage_ == nullptr) {
      return nullptr;
    }
    endpoint_ = std::make_unique<Endpoint>();
    if ((steps & kEndpointRead) != 0) {
      endpoint_->IsChanged(storage_.get());
    }
    if ((steps & kEndpointCompute) != 0) {
      endpoint_->Compute();
    }
    if ((steps & kEndpointPersist) != 0) {
      endpoint_->Persist(storage_.get());
    }
    return ReturnText(endpoint_->GetId());
  });
}

int32_t Backdoor::CreateCacheManager(const char* prefix) noexcept {
  return Boundary(kFailed, [&] {
    if (*OrEmpty(prefix) == '\0') {
      return kFailed;
    }
    cacheManager_ = std::make_unique<CacheManager>(GetStorageDirectory(), prefix);
    return YesOrNo(!cacheManager_->Disabled());
  });
}

const char* Backdoor::GetText(int32_t part, const char* key) noexcept {
  return Boundary<const char*>(nullptr, [&] {
    const EnvValue value = FindValue(static_cast<KeptPart>(part), OrEmpty(key));
    return value.type == EnvType::None ? nullptr : ReturnText(TextOf(value));
  });
}

int32_t Backdoor::SetViewValue(int32_t view,
                               const char* key,
                               const char* value,
                               int32_t isNumber) noexcept {
  return Boundary(kFailed, [&] {
    PersistentStorage::View* const target = ViewOf(static_cast<KeptPart>(view));
    if (target == nullptr) {
      return kFailed;
    }
    if (value == nullptr) {
      return YesOrNo(target->RemoveValue(OrEmpty(key)));
    }
    return YesOrNo(target->SetValue(OrEmpty(key),
                                    isNumber != 0 ? ParseNumber(value) : EnvValue::String(value)));
  });
}

// Views are freed before the storage whose document they show.
void Backdoor::Destroy(int32_t freeObject) noexcept {
  clientInfo_.reset();
  productInfo_.reset();
  clientView_.reset();
  productView_.reset();
  productEnvView_.reset();
  endpoint_.reset();
  storage_.reset();
  cacheManager_.reset();
  text_.clear();
  if (freeObject != 0) {
    delete this;
  }
}

PersistentStorage::View* Backdoor::ViewOf(KeptPart part) const {
  switch (part) {
    case KeptPart::ClientView:
      return clientView_.get();
    case KeptPart::ProductView:
      return productView_.get();
    case KeptPart::ProductEnvView:
      return productEnvView_.get();
    default:
      return nullptr;
  }
}

// A value of type None when there is none.
EnvValue Backdoor::FindValue(KeptPart part, const char* key) const {
  if (part == KeptPart::ClientInfo && clientInfo_ != nullptr) {
    const ClientEnv& env = clientInfo_->GetClientEnv();
    const auto found = env.find(key);
    return found != env.end() ? EnvValue::String(found->second) : EnvValue();
  }
  if (part == KeptPart::ProductInfo && productInfo_ != nullptr) {
    EnvValue value;
    return productInfo_->FindEnvValue(key, value) ? value : EnvValue();
  }
  if (part == KeptPart::Endpoint && endpoint_ != nullptr) {
    return EnvValue::String(endpoint_->GetId());
  }
  if (part == KeptPart::CacheManager && cacheManager_ != nullptr) {
    return EnvValue::String(cacheManager_->Prefix());
  }
  const PersistentStorage::View* const view = ViewOf(part);
  return view != nullptr ? view->GetValue(key) : EnvValue();
}

const char* Backdoor::ReturnText(std::string text) {
  text_ = std::move(text);
  return text_.c_str();
}

void Backdoor::DropViews() {
  clientView_.reset();
  productView_.reset();
  productEnvView_.reset();
}

Backdoor* TAV_CALL TavCreateBackdoor() {
  return Boundary<Backdoor*>(nullptr, [] { return new Backdoor; });
}
