// Map and list values, filled by the host before they become product information.
#include <utility>

#include "api/arguments.h"
#include "api/boundary.h"
#include "api/entry_points.h"
#include "util/json.h"
#include "util/logger.h"

using namespace Tav;

namespace {

constexpr HandleMessages kStringMember = {
    "Tav: TavAddStringValue called with a null map",
    "Tav: TavAddStringValue called with a re-used map",
    "Tav: TavAddStringValue called with a bad map",
};
constexpr HandleMessages kNumericMember = {
    "Tav: TavAddNumericValue called with a null map",
    "Tav: TavAddNumericValue called with a re-used map",
    "Tav: TavAddNumericValue called with a bad map",
};
constexpr HandleMessages kListItem = {
    "Tav: TavAddListValue called with a null list",
    "Tav: TavAddListValue called with a re-used list",
    "Tav: TavAddListValue called with a bad list",
};

void SetMember(TavValue_s& map, std::string_view name, JsonPtr value) {
  if (!value) {
    LogWarning("No json object to add");
  } else if (!SetJsonMember(map.payload.Get(), name, std::move(value))) {
    LogWarning("Failed to add object to json map");
  }
}

}  // namespace

TavValue_s* TAV_CALL TavNewMapValue() {
  return Boundary<TavValue_s*>(nullptr, [] { return CreateValue(HandleKind::Map); });
}

TavValue_s* TAV_CALL TavNewListValue() {
  return Boundary<TavValue_s*>(nullptr, [] { return CreateValue(HandleKind::List); });
}

void TAV_CALL TavAddStringValue(TavValue_s* map, const char* name, const char* value) {
  Boundary([&] {
    if (!CheckValue(map, HandleKind::Map, kStringMember)) {
      return;
    }
    const Utf8Text nameText(name, true);
    if (!IsValidName(nameText.View())) {
      LogError("Tav: TavAddStringValue called with a bad name");
      return;
    }
    SetMember(*map, nameText.View(), MakeJsonString(Utf8Text(value, false).View()));
  });
}

void TAV_CALL TavAddNumericValue(TavValue_s* map, const char* name, double value) {
  Boundary([&] {
    if (!CheckValue(map, HandleKind::Map, kNumericMember)) {
      return;
    }
    const Utf8Text nameText(name, true);
    if (!IsValidName(nameText.View())) {
      LogError("Tav: TavAddNumericValue called with a bad name");
      return;
    }
    SetMember(*map, nameText.View(), JsonPtr(json_real(value)));
  });
}

void TAV_CALL TavAddListValue(TavValue_s* list, const char* item) {
  Boundary([&] {
    if (!CheckValue(list, HandleKind::List, kListItem)) {
      return;
    }
    const Utf8Text itemText(item, false);
    if (itemText.View().empty()) {
      LogError("Tav: TavAddListValue called with a bad name");
      return;
    }
    // A list is kept as an object whose keys are the items, so that an item stands in it once.
    SetMember(*list, itemText.View(), MakeJsonString({}));
  });
}
