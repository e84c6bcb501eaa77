// Creates events for the host itself, for a session and for a component.
#pragma once

#include <string_view>

#include "api/entry_guard.h"
#include "model/handles.h"

namespace Tav {

// The session and the component of an event. An empty session selects the implied session. A
// component's events are never in explicit sessions.
struct EventOwner {
  std::string_view sessionId = {};
  std::string_view componentName = {};
  std::string_view componentVersion = {};
};

// The name of a component's event: "<component>_<event>", cut to the maximum length of a name,
// between characters.
class ComponentEventName {
 public:
  ComponentEventName(std::string_view component, std::string_view event);

  const char* CString() const { return text_; }

 private:
  char text_[kMaxNameLength + 1];
};

// An event with these texts as they are. Null when memory runs out. The caller owns it. Any thread.
TavEvent_s* CreateOwnedEvent(HandleKind kind, std::string_view name, const EventOwner& owner);

// Marks the event as the component's: its record holds no events of other components.
void SetComponent(TavEvent_s& event, const EventOwner& owner);

// Standard events, whose names the gateway recognises. An invalid command or an empty error code
// is logged and gives an event without a name, which logging frees without sending it. Otherwise as
// above.
TavEvent_s* CreateCommandEvent(const char* command, const EventOwner& owner);
TavEvent_s* CreateErrorEvent(const char* code, const char* message, const EventOwner& owner);

}  // namespace Tav
