// Adds properties to an event that the host is still building, within the event's size limit.
//
// An addition that would exceed the limit is refused with a warning and marks the event discarded:
// later additions are ignored, and logging the event drops it, because an event with some of its
// properties missing would be wrong. Runs on the host's threads; allocates in the event's arena.
#pragma once

#include <string_view>

struct TavEvent_s;

namespace Tav {

// `name` is 1 to 255 bytes; `value` any text. A later property of the same name replaces the
// earlier one.
void AddEventString(TavEvent_s& event, std::string_view name, std::string_view value);

// A number that JSON cannot represent (NaN, infinity) is left out with a warning.
void AddEventNumber(TavEvent_s& event, std::string_view name, double value);

// Appends an item to "std-Trace" and counts it; empty texts are left out. Does nothing for an event
// without properties.
void AddEventTraceItem(TavEvent_s& event,
                       std::string_view location,
                       std::string_view library,
                       std::string_view meta);

}  // namespace Tav
