// Events of a fixed shape that the receiving side knows by their names: a command that the user
// ran, and an error. Logged like any other event.
#pragma once

#include <string_view>

struct TavEvent_s;

namespace Tav {

// A session id or a component name may be empty. An invalid command or error code is reported and
// gives an event without a name, which logging frees without sending it. Null when memory runs out.
// The caller owns the event. Any thread.
TavEvent_s* CreateCommandEvent(const char* command,
                               std::string_view sessionId,
                               std::string_view component);
TavEvent_s* CreateErrorEvent(const char* code,
                             const char* message,
                             std::string_view sessionId,
                             std::string_view component);

}  // namespace Tav
