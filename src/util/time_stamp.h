// The wall clock as people and records read it: local time with its offset from UTC, and whole
// seconds. Everything here may be called on any thread and does not block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Tav {

// A moment and the local offset at that moment: small enough to be kept with every event and
// written out later on another thread.
struct TimeStamp {
  int64_t unixMilliseconds = 0;  // since 1970-01-01 UTC
  int16_t utcBiasMinutes = 0;    // what local time lacks to UTC: negative east of Greenwich
};

// The current moment. Cheap enough for a host's thread: one clock reading and a cached offset that
// is asked of the system at most once a second. When the system cannot tell the offset, a WARN says
// so and the stamp counts as UTC.
TimeStamp CaptureTimeStamp();

// Room for the longest text and its terminating zero.
constexpr size_t kTimeStampTextSize = 30;

// Writes "2021-03-04T10:11:12.345+01:00", or with "Z" in place of an offset of zero, and a
// terminating zero; returns the length. Moments outside the years 0 to 9999 are drawn to the nearer
// end of that range.
size_t FormatTimeStamp(const TimeStamp& stamp, char (&text)[kTimeStampTextSize]);
std::string FormatTimeStamp(const TimeStamp& stamp);

// The current moment as text.
std::string LocalTimeStamp();

// Whole seconds since 1970-01-01 UTC.
int64_t CurrentTime();

// Seconds since 1601-01-01 UTC, to the resolution of the system's clock.
double CurrentTimeSeconds();

}  // namespace Tav
