#include "api/standard_events.h"

#include <string>

#include "api/arguments.h"
#include "api/boundary.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "api/sessions.h"
#include "model/event_payload.h"
#include "model/record_keys.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr std::string_view kCommandEvent = "std-Cmd";
constexpr std::string_view kErrorEvent = "std-Error";

// `name`, behind the component's when there is one. The name must stay whole to be known, so a long
// component name does not cut it.
class StandardName {
 public:
  StandardName(std::string_view component, std::string_view name) : view_(name) {
    if (!component.empty()) {
      joined_.append(component).append("_").append(name);
      view_ = joined_;
    }
  }
  StandardName(const StandardName&) = delete;
  StandardName& operator=(const StandardName&) = delete;

  std::string_view View() const { return view_; }

 private:
  std::string joined_;
  std::string_view view_;
};

}  // namespace

TavEvent_s* CreateCommandEvent(const char* command,
                               std::string_view sessionId,
                               std::string_view component) {
  const Utf8Text text(command, true);
  const bool valid = IsValidName(text.View());
  if (!valid) {
    LogError("Tav: Invalid command name");
  }
  const std::string_view name = valid ? text.View() : std::string_view("");
  TAV_DEBUG("Tav: Creating Command event '%.*s', sessionID: %.*s, component: %.*s", TAV_VIEW(name),
            TAV_VIEW(sessionId), TAV_VIEW(component));
  if (!valid) {
    return CreateEvent(HandleKind::Command, {}, sessionId);
  }
  TavEvent_s* const event =
      CreateEvent(HandleKind::Command, StandardName(component, kCommandEvent).View(), sessionId);
  if (event != nullptr) {
    AddEventString(*event, Key::kCommandName, name);
  }
  return event;
}

TavEvent_s* CreateErrorEvent(const char* code,
                             const char* message,
                             std::string_view sessionId,
                             std::string_view component) {
  const Utf8Text codeText(code, false);
  const bool valid = !codeText.View().empty();
  if (!valid) {
    LogError("Tav: Empty error code");
  }
  TAV_DEBUG("Tav: Creating Error event for error code '%.*s', sessionID: %.*s, component: %.*s",
            TAV_VIEW(codeText.View()), TAV_VIEW(sessionId), TAV_VIEW(component));
  if (!valid) {
    return CreateEvent(HandleKind::Error, {}, sessionId);
  }
  TavEvent_s* const event =
      CreateEvent(HandleKind::Error, StandardName(component, kErrorEvent).View(), sessionId);
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

TavEvent_s* TAV_CALL TavNewCommandEvent(const char* command) {
  return Boundary<TavEvent_s*>(nullptr, [&] { return CreateCommandEvent(command, {}, {}); });
}

TavEvent_s* TAV_CALL TavSessionNewCommandEvent(TavSession_s* session, const char* command) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    return CreateCommandEvent(command, SessionIdOf(session, "TavSessionNewCommandEvent"), {});
  });
}

TavEvent_s* TAV_CALL TavNewErrorEvent(const char* errorCode, const char* errorMessage) {
  return Boundary<TavEvent_s*>(nullptr,
                               [&] { return CreateErrorEvent(errorCode, errorMessage, {}, {}); });
}

TavEvent_s* TAV_CALL TavSessionNewErrorEvent(TavSession_s* session,
                                             const char* errorCode,
                                             const char* errorMessage) {
  return Boundary<TavEvent_s*>(nullptr, [&] {
    const std::string_view sessionId = SessionIdOf(session, "TavSessionNewErrorEvent");
    return CreateErrorEvent(errorCode, errorMessage, sessionId, {});
  });
}

void TAV_CALL TavAddTraceItem(TavEvent_s* errorEvent,
                              const char* location,
                              const char* library,
                              const char* meta) {
  Boundary([&] {
    if (errorEvent == nullptr) {
      LogError("Tav: Add stack trace item called with a null event");
      return;
    }
    if (errorEvent->magic != kHandleLive) {
      LogError("Tav: Add stack trace item called with a re-used event");
      return;
    }
    if (errorEvent->kind != HandleKind::Error) {
      LogError("Tav: Add stack trace item can be called for an Error event only");
      return;
    }
    if (static_cast<int64_t>(errorEvent->traceItemCount) >= GetLibrary().maxTraceItems) {
      LogWarning(
          "Tav: AddTraceItem: item not added as Error event already reached max items allowed.");
      return;
    }
    AddEventTraceItem(*errorEvent, Utf8Text(location, false).View(),
                      Utf8Text(library, false).View(), Utf8Text(meta, false).View());
  });
}
