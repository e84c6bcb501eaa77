// Wall clock, monotonic clock and time zone: plain readings without caching. Any thread.
#pragma once

#include <cstdint>
#include <optional>

namespace Tav::Platform {

// Milliseconds since 1970-01-01 UTC. Costs well under a microsecond.
int64_t UnixMilliseconds() noexcept;

// 100-nanosecond units since 1601-01-01 UTC, as Windows counts file times.
uint64_t FileTimeUnits() noexcept;

// Milliseconds since about the start of the system, for timers and intervals. Never goes backwards
// or jumps, whatever happens to the wall clock. On Windows it also counts the time that the
// computer sleeps or hibernates, in steps of up to 16 ms; the waits of platform/thread.h may not
// count that time. On POSIX systems neither counts it.
int64_t MonotonicMilliseconds() noexcept;

// Minutes to add to local time to get UTC (negative east of Greenwich), daylight saving included.
// Empty if the system cannot tell. Costs microseconds: on a host's thread, cache the result.
std::optional<int> QueryUtcBiasMinutes() noexcept;

}  // namespace Tav::Platform
