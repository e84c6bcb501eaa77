// Product information: what the host says about its product, before and after initialisation.
#include "api/product_values.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "api/arguments.h"
#include "api/boundary.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "session/session_manager.h"
#include "util/arena.h"
#include "util/logger.h"

namespace Tav {

namespace {

PendingProductValues& Pending() {
  auto& values = GetLibrary().config.productValues;
  if (values == nullptr) {
    values = std::make_unique<PendingProductValues>();
  }
  return *values;
}

// A record of kind map whose payload is the single value itself.
TavValue_s* MakeSingleValue(std::string_view key, const EnvValue& value) {
  UseArenasForJson();
  auto handle = std::make_unique<TavValue_s>(HandleKind::Map);
  handle->name.Assign(key, nullptr);
  handle->payload = value.type == EnvType::String ? MakeJsonString(value.strData)
                                                  : JsonPtr(json_real(value.numData));
  if (!handle->payload) {
    LogWarning("No json object to add");
    return nullptr;
  }
  return handle.release();
}

void AddCheckedValue(std::string_view key, EnvValue value) {
  if (SessionManager* const manager = Manager()) {
    if (TavValue_s* const handle = MakeSingleValue(key, value)) {
      manager->ChangeProductEnv(handle);
    }
    return;
  }
  PendingProductValue pending;
  pending.value = std::move(value);
  Pending()[std::string(key)] = std::move(pending);
}

void AddValueHandle(const char* key, TavValue_s* value) {
  const Utf8Text keyText(key, true);
  if (!IsValidProductKey(keyText.View())) {
    LogError("Tav: TavAddProductInfoValue failed because of bad input key: %s",
             key == nullptr ? "" : key);
    return;
  }
  if (value == nullptr) {
    LogError("Tav: TavAddProductInfoValue called with a null value");
    return;
  }
  if (value->magic != kHandleLive) {
    LogError("Tav: TavAddProductInfoValue called with a re-used value");
    FreeHandle(value);
    return;
  }
  if (value->kind != HandleKind::Map && value->kind != HandleKind::List) {
    LogError("Tav: TavAddProductInfoValue called with a bad value");
    return;
  }
  if (SessionManager* const manager = Manager()) {
    value->name.Assign(keyText.View(), nullptr);
    manager->ChangeProductEnv(value);
    return;
  }
  PendingProductValue pending;
  pending.isMap = value->kind == HandleKind::Map;
  pending.payload = std::move(value->payload);
  Pending()[std::string(keyText.View())] = std::move(pending);
  FreeHandle(value);
}

}  // namespace

void AddProductValue(const char* key, EnvValue value, KeyCheck check) {
  if (check == KeyCheck::LibraryKey) {
    AddCheckedValue(key, std::move(value));
    return;
  }
  const Utf8Text keyText(key, true);
  if (!IsValidProductKey(keyText.View())) {
    LogWarning("Tav: AddProductInfo failed because of bad input key: '%s'",
               key == nullptr ? "" : key);
    return;
  }
  AddCheckedValue(keyText.View(), std::move(value));
}

}  // namespace Tav

using namespace Tav;

void TAV_CALL TavAddProductInfo(const char* key, const char* value) {
  Boundary([&] {
    AddProductValue(key, EnvValue::String(ToUtf8String(value, false)), KeyCheck::HostKey);
  });
}

void TAV_CALL TavAddNumericProductInfo(const char* key, double value) {
  Boundary([&] { AddProductValue(key, EnvValue::Number(value), KeyCheck::HostKey); });
}

void TAV_CALL TavAddProductInfoValue(const char* key, TavValue_s* value) {
  Boundary([&] { AddValueHandle(key, value); });
}
