// The wall clock: local time with its offset from UTC, and whole seconds. Any thread; nothing here
// blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Tav {

// A moment with the local offset at that moment, small enough to keep with every event and format
// later on another thread.
struct TimeStamp {
  int64_t unixMilliseconds = 0;  // since 1970-01-01 UTC
  int16_t utcBiasMinutes = 0;    // to add to local time to get UTC; negative east of Greenwich
};

// The current moment. Costs a clock reading: the offset is cached and queried at most once a
// second. If the system does not know the offset, logs a warning and uses UTC.
TimeStamp CaptureTimeStamp();

// Room for the longest text with its terminating zero.
constexpr size_t kTimeStampTextSize = 30;

// Writes "2021-03-04T10:11:12.345+01:00", with "Z" for the offset zero, and a terminating zero.
// Returns the length. Moments are limited to the years 0 to 9999.
size_t FormatTimeStamp(const TimeStamp& stamp, char (&text)[kTimeStampTextSize]);
std::string FormatTimeStamp(const TimeStamp& stamp);

// The current moment as text.
std::string LocalTimeStamp();

// Whole seconds since 1970-01-01 UTC. For intervals use the monotonic clock, see util/now.h.
int64_t CurrentTime();

// Seconds since 1601-01-01 UTC, at the resolution of the system's clock.
double CurrentTimeSeconds();

}  // namespace Tav
