// The counters and statistics that hosts feed without a session.
#pragma once

namespace Tav {

struct GlobalAggregates {};

}  // namespace Tav
