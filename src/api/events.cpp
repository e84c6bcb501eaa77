// Events: creating them, adding properties, handing them over.
#include "api/arguments.h"
#include "api/boundary.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "model/event_payload.h"
#include "session/session_manager.h"
#include "util/logger.h"

using namespace Tav;

namespace {

constexpr HandleMessages kStringProperty = {
    "Tav: TavAddEventProperty called with a null event",
    "Tav: TavAddEventProperty called with a re-used event",
    "Tav: TavAddEventProperty called with a bad event",
};

// The third one goes without "(float)"; hosts' tools know it so.
constexpr HandleMessages kNumericProperty = {
    "Tav: TavAddNumericEventProperty (float) called with a null event",
    "Tav: TavAddNumericEventProperty (float) called with a re-used event",
    "Tav: TavAddNumericEventProperty called with a bad event",
};

}  // namespace

TavEvent_s* TAV_CALL TavNewEvent(const char* name) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    const Utf8Text text(name, true);
    if (!IsValidName(text.View())) {
      LogError("Tav: TavNewEvent called with an invalid event name");
      return CreateEvent(HandleKind::Event, {}, {});
    }
    return CreateEvent(HandleKind::Event, text.View(), {});
  });
}

void TAV_CALL TavAddEventProperty(TavEvent_s* event, const char* name, const char* value) {
  Boundary([&] {
    if (!CheckEvent(event, kStringProperty)) {
      return;
    }
    const Utf8Text nameText(name, true);
    if (!IsValidName(nameText.View())) {
      LogError("Tav: TavAddEventProperty called with a bad name");
      return;
    }
    AddEventString(*event, nameText.View(), Utf8Text(value, false).View());
  });
}

void TAV_CALL TavAddNumericEventProperty(TavEvent_s* event, const char* name, double value) {
  Boundary([&] {
    if (!CheckEvent(event, kNumericProperty)) {
      return;
    }
    const Utf8Text nameText(name, true);
    if (!IsValidName(nameText.View())) {
      LogError("Tav: TavAddNumericEventProperty (float) called with a bad name");
      return;
    }
    AddEventNumber(*event, nameText.View(), value);
  });
}

void TAV_CALL TavLogEvent(TavEvent_s* event) {
  Boundary([&] {
    if (event == nullptr) {
      LogError("Tav: TavLogEvent called with a null event");
      return;
    }
    if (event->magic != kHandleLive) {
      LogError("Tav: TavLogEvent called with a re-used event");
      return;
    }
    if (event->kind == HandleKind::Map || event->kind == HandleKind::List) {
      LogError("Tav: TavLogEvent called with a bad event");
      return;
    }
    if (event->name.Empty()) {
      FreeHandle(event);
      return;
    }
    if (SessionManager* const manager = Manager()) {
      manager->Log(event);
      return;
    }
    LogError("Tav: TavLogEvent called with no manager defined. Event: %s", event->name.CString());
    FreeHandle(event);
  });
}
