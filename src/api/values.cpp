// Product information: single values, and the maps and lists that the host fills first.
#include "api/values.h"

#include <memory>
#include <utility>

#include "api/entry_guard.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "session/session_manager.h"
#include "util/json.h"
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

// A handle of kind map whose payload is the single value itself.
TavValue_s* MakeSingleValue(std::string_view key, const EnvValue& value) {
  TavValue_s* const handle =
      CreateSingleValue(value.type == EnvType::String ? MakeJsonString(value.text)
                                                      : JsonPtr(json_real(value.number)));
  if (handle == nullptr) {
    LogWarning("No json object to add");
    return nullptr;
  }
  handle->name.Assign(key, nullptr);
  return handle;
}

// Passes the value to the running session manager, or keeps it for the next initialisation.
void AddValue(std::string_view key, EnvValue value) {
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

// The same for a map or list, which is consumed.
void AddMapOrList(std::string_view key, TavValue_s* value) {
  if (SessionManager* const manager = Manager()) {
    value->name.Assign(key, nullptr);
    manager->ChangeProductEnv(value);
    return;
  }
  PendingProductValue pending;
  pending.isMap = value->kind == HandleKind::Map;
  pending.payload = std::move(value->payload);
  Pending()[std::string(key)] = std::move(pending);
  FreeHandle(value);
}

}  // namespace

void AddLibraryValue(std::string_view key, std::string text) {
  AddValue(key, EnvValue::String(std::move(text)));
}

}  // namespace Tav

using namespace Tav;

namespace {

void AddHostValue(const char* key, EnvValue value) {
  const Utf8Text keyText(key, true);
  if (!IsValidProductKey(keyText.View())) {
    LogWarning("Tav: AddProductInfo failed because of bad input key: '%s'", OrEmpty(key));
    return;
  }
  AddValue(keyText.View(), std::move(value));
}

void AddHostMapOrList(const char* key, TavValue_s* value) {
  constexpr char kEntryPoint[] = "TavAddProductInfoValue";
  const Utf8Text keyText(key, true);
  if (!IsValidProductKey(keyText.View())) {
    LogError("Tav: TavAddProductInfoValue failed because of bad input key: %s", OrEmpty(key));
    return;
  }
  // A consumed value is left alone: the queue may still own it.
  if (CheckLive(value, kEntryPoint, "value") &&
      CheckArgument(IsValueKind(value->kind), kEntryPoint, "value")) {
    AddMapOrList(keyText.View(), value);
  }
}

bool CheckKind(const TavValue_s* value, HandleKind kind, const char* entryPoint, const char* noun) {
  return CheckLive(value, entryPoint, noun) && CheckArgument(value->kind == kind, entryPoint, noun);
}

void SetMember(TavValue_s& container, std::string_view name, JsonPtr value) {
  if (!value) {
    LogWarning("No json object to add");
  } else if (!SetJsonMember(container.payload.Get(), name, std::move(value))) {
    LogWarning("Failed to add object to json map");
  }
}

template <typename MakeValue>
void AddMember(TavValue_s* map, const char* name, const char* entryPoint, MakeValue makeValue) {
  if (!CheckKind(map, HandleKind::Map, entryPoint, "map")) {
    return;
  }
  const Utf8Text nameText(name, true);
  if (CheckArgument(IsValidName(nameText.View()), entryPoint, "name")) {
    SetMember(*map, nameText.View(), makeValue());
  }
}

void AddItem(TavValue_s* list, const char* item) {
  constexpr char kEntryPoint[] = "TavAddListValue";
  if (!CheckKind(list, HandleKind::List, kEntryPoint, "list")) {
    return;
  }
  const Utf8Text itemText(item, false);
  if (CheckArgument(!itemText.View().empty(), kEntryPoint, "name")) {
    // A list is an object whose keys are the items, so that each item is stored once.
    SetMember(*list, itemText.View(), MakeJsonString({}));
  }
}

}  // namespace

void TAV_CALL TavAddProductInfo(const char* key, const char* value) {
  Boundary([&] { AddHostValue(key, EnvValue::String(ToUtf8String(value, false))); });
}

void TAV_CALL TavAddNumericProductInfo(const char* key, double value) {
  Boundary([&] { AddHostValue(key, EnvValue::Number(value)); });
}

void TAV_CALL TavAddProductInfoValue(const char* key, TavValue_s* value) {
  Boundary([&] { AddHostMapOrList(key, value); });
}

TavValue_s* TAV_CALL TavNewMapValue() {
  return Boundary<TavValue_s*>(nullptr, [] { return CreateValue(HandleKind::Map); });
}

TavValue_s* TAV_CALL TavNewListValue() {
  return Boundary<TavValue_s*>(nullptr, [] { return CreateValue(HandleKind::List); });
}

void TAV_CALL TavAddStringValue(TavValue_s* map, const char* name, const char* value) {
  Boundary([&] {
    AddMember(map, name, "TavAddStringValue",
              [&] { return MakeJsonString(Utf8Text(value, false).View()); });
  });
}

void TAV_CALL TavAddNumericValue(TavValue_s* map, const char* name, double value) {
  Boundary([&] {
    AddMember(map, name, "TavAddNumericValue", [&] { return JsonPtr(json_real(value)); });
  });
}

void TAV_CALL TavAddListValue(TavValue_s* list, const char* item) {
  Boundary([&] { AddItem(list, item); });
}
