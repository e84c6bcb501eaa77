// Wall clock, monotonic clock and time zone. Plain readings: no caching, no policy.
#pragma once

#include <cstdint>
#include <optional>

namespace Tav::Platform {

// Milliseconds since 1970-01-01 UTC. Any thread; costs well under a microsecond.
int64_t UnixMilliseconds();

// 100-nanosecond units since 1601-01-01 UTC, the system's own file-time count.
uint64_t FileTimeUnits();

// Milliseconds from an arbitrary start that never goes backwards.
int64_t MonotonicMilliseconds();

// Minutes to add to local time to get UTC (negative east of Greenwich), daylight saving included.
// Empty when the system cannot tell. Costs microseconds: callers on a host's thread cache it.
std::optional<int> QueryUtcBiasMinutes();

}  // namespace Tav::Platform
