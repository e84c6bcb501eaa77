// Events: creating them, adding properties, logging them.
#include "api/events.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "api/entry_guard.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "api/sessions.h"
#include "model/event_properties.h"
#include "model/record_keys.h"
#include "session/session_manager.h"
#include "util/logger.h"
#include "util/text.h"

namespace Tav {

namespace {

constexpr std::string_view kCommandEvent = "std-Cmd";
constexpr std::string_view kErrorEvent = "std-Error";

// The standard name, prefixed with the component's. Never cut: the gateway must recognise it.
std::string StandardName(std::string_view component, std::string_view name) {
  std::string text(component);
  if (!component.empty()) {
    text += '_';
  }
  return text += name;
}

}  // namespace

ComponentEventName::ComponentEventName(std::string_view component, std::string_view event) {
  // Filled up to one byte more than is kept: it tells whether the cut is inside a character.
  size_t size = 0;
  for (const std::string_view piece : {component, std::string_view("_"), event}) {
    const size_t fitting = std::min(piece.size(), sizeof text_ - size);
    std::memcpy(text_ + size, piece.data(), fitting);
    size += fitting;
  }
  text_[CutUtf8({text_, size}, kMaxNameLength).size()] = '\0';
}

TavEvent_s* CreateOwnedEvent(HandleKind kind, std::string_view name, const EventOwner& owner) {
  TavEvent_s* const event = CreateEvent(kind, name, owner.sessionId);
  if (event != nullptr) {
    SetComponent(*event, owner);
  }
  return event;
}

void SetComponent(TavEvent_s& event, const EventOwner& owner) {
  if (!event.componentName.Assign(owner.componentName, event.Memory()) ||
      !event.componentVersion.Assign(owner.componentVersion, event.Memory())) {
    LogOutOfMemory();
  }
}

TavEvent_s* CreateCommandEvent(const char* command, const EventOwner& owner) {
  const Utf8Text text(command, true);
  const bool valid = IsValidName(text.View());
  if (!valid) {
    LogError("Tav: Invalid command name");
  }
  const std::string_view name = valid ? text.View() : std::string_view("");
  TAV_DEBUG("Tav: Creating Command event '%.*s', sessionID: %.*s, component: %.*s", TAV_VIEW(name),
            TAV_VIEW(owner.sessionId), TAV_VIEW(owner.componentName));
  if (!valid) {
    return CreateOwnedEvent(HandleKind::Command, {}, owner);
  }
  TavEvent_s* const event = CreateOwnedEvent(
      HandleKind::Command, StandardName(owner.componentName, kCommandEvent), owner);
  if (event != nullptr) {
    AddEventString(*event, Key::kCommandName, name);
  }
  return event;
}

TavEvent_s* CreateErrorEvent(const char* code, const char* message, const EventOwner& owner) {
  const Utf8Text codeText(code, false);
  const bool valid = !codeText.View().empty();
  if (!valid) {
    LogError("Tav: Empty error code");
  }
  TAV_DEBUG("Tav: Creating Error event for error code '%.*s', sessionID: %.*s, component: %.*s",
            TAV_VIEW(codeText.View()), TAV_VIEW(owner.sessionId), TAV_VIEW(owner.componentName));
  if (!valid) {
    return CreateOwnedEvent(HandleKind::Error, {}, owner);
  }
  TavEvent_s* const event =
      CreateOwnedEvent(HandleKind::Error, StandardName(owner.componentName, kErrorEvent), owner);
  if (event == nullptr) {
    return nullptr;
  }
  AddEventString(*event, Key::kErrorCode, codeText.View());
  const Utf8Text messageText(message, false);
  if (!messageText.View().empty()) {
    AddEventString(*event, Key::kErrorMessage, messageText.View());
  }
  return event;
}

}  // namespace Tav

using namespace Tav;

namespace {

TavEvent_s* NewEvent(const char* name, std::string_view sessionId, const char* invalidName) {
  const Utf8Text text(name, true);
  if (!IsValidName(text.View())) {
    LogError("%s", invalidName);
    return CreateEvent(HandleKind::Event, {}, sessionId);
  }
  return CreateEvent(HandleKind::Event, text.View(), sessionId);
}

// `add` gets the name trimmed and valid. `kindChecker` is the entry point's name in the message
// about a handle that is no event.
template <typename Add>
void AddProperty(TavEvent_s* event,
                 const char* name,
                 const char* entryPoint,
                 const char* kindChecker,
                 Add add) {
  if (!CheckLive(event, entryPoint, "event") ||
      !CheckArgument(!IsValueKind(event->kind), kindChecker, "event")) {
    return;
  }
  const Utf8Text nameText(name, true);
  if (CheckArgument(IsValidName(nameText.View()), entryPoint, "name")) {
    add(nameText.View());
  }
}

void LogEvent(TavEvent_s* event) {
  constexpr char kEntryPoint[] = "TavLogEvent";
  if (!CheckLive(event, kEntryPoint, "event") ||
      !CheckArgument(!IsValueKind(event->kind), kEntryPoint, "event")) {
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
}

void AddTraceItem(TavEvent_s* event, const char* location, const char* library, const char* meta) {
  if (!CheckLive(event, "Add stack trace item", "event")) {
    return;
  }
  if (event->kind != HandleKind::Error) {
    LogError("Tav: Add stack trace item can be called for an Error event only");
    return;
  }
  if (static_cast<int64_t>(event->traceItemCount) >= GetLibrary().maxTraceItems) {
    LogWarning(
        "Tav: AddTraceItem: item not added as Error event already reached max items allowed.");
    return;
  }
  AddEventTraceItem(*event, Utf8Text(location, false).View(), Utf8Text(library, false).View(),
                    Utf8Text(meta, false).View());
}

}  // namespace

TavEvent_s* TAV_CALL TavNewEvent(const char* name) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    return NewEvent(name, {}, "Tav: TavNewEvent called with an invalid event name");
  });
}

TavEvent_s* TAV_CALL TavSessionNewEvent(TavSession_s* session, const char* name) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    return NewEvent(name, SessionIdOf(session, "TavSessionNewEvent"),
                    "Tav: TavSessionNewEvent called with an invalid event");
  });
}

TavEvent_s* TAV_CALL TavNewCommandEvent(const char* command) {
  return Boundary<TavEvent_s*>(nullptr, [&] { return CreateCommandEvent(command, {}); });
}

TavEvent_s* TAV_CALL TavSessionNewCommandEvent(TavSession_s* session, const char* command) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    return CreateCommandEvent(command,
                              {.sessionId = SessionIdOf(session, "TavSessionNewCommandEvent")});
  });
}

TavEvent_s* TAV_CALL TavNewErrorEvent(const char* errorCode, const char* errorMessage) {
  return Boundary<TavEvent_s*>(nullptr,
                               [&] { return CreateErrorEvent(errorCode, errorMessage, {}); });
}

TavEvent_s* TAV_CALL TavSessionNewErrorEvent(TavSession_s* session,
                                             const char* errorCode,
                                             const char* errorMessage) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    return CreateErrorEvent(errorCode, errorMessage,
                            {.sessionId = SessionIdOf(session, "TavSessionNewErrorEvent")});
  });
}

void TAV_CALL TavAddEventProperty(TavEvent_s* event, const char* name, const char* value) {
  Boundary([&] {
    constexpr char kEntryPoint[] = "TavAddEventProperty";
    AddProperty(event, name, kEntryPoint, kEntryPoint, [&](std::string_view key) {
      AddEventString(*event, key, Utf8Text(value, false).View());
    });
  });
}

void TAV_CALL TavAddNumericEventProperty(TavEvent_s* event, const char* name, double value) {
  Boundary([&] {
    // One of the messages lacks the "(float)"; tools of hosts match the text.
    AddProperty(event, name, "TavAddNumericEventProperty (float)", "TavAddNumericEventProperty",
                [&](std::string_view key) { AddEventNumber(*event, key, value); });
  });
}

void TAV_CALL TavAddTraceItem(TavEvent_s* errorEvent,
                              const char* location,
                              const char* library,
                              const char* meta) {
  Boundary([&] { AddTraceItem(errorEvent, location, library, meta); });
}

void TAV_CALL TavLogEvent(TavEvent_s* event) {
  Boundary([&] { LogEvent(event); });
}
