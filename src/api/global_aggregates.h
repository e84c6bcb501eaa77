// The counters and statistics that hosts feed without a session: those of the host itself and those
// of its components.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "api/aggregates.h"

namespace Tav {

struct ComponentAggregates {
  AggregateCollection collection;
  std::string version;  // as of the component's last feed
};

// By component name; the host's own stand under the empty name.
struct GlobalAggregates {
  std::map<std::string, ComponentAggregates, std::less<>> components;
};

// Those of one component, made on first use; they last until the next flush of all.
ComponentAggregates& GlobalAggregatesOf(std::string_view component);

}  // namespace Tav
