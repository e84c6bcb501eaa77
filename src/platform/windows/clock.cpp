#include "platform/clock.h"

#include <windows.h>

namespace Tav::Platform {

namespace {

constexpr int64_t kUnitsPerMillisecond = 10000;
constexpr int64_t kUnitsFrom1601To1970 = 116444736000000000;

}  // namespace

int64_t UnixMilliseconds() noexcept {
  return (static_cast<int64_t>(FileTimeUnits()) - kUnitsFrom1601To1970) / kUnitsPerMillisecond;
}

uint64_t FileTimeUnits() noexcept {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  return (static_cast<uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
}

int64_t MonotonicMilliseconds() noexcept {
  return static_cast<int64_t>(GetTickCount64());
}

std::optional<int> QueryUtcBiasMinutes() noexcept {
  TIME_ZONE_INFORMATION zone;
  switch (GetTimeZoneInformation(&zone)) {
    case TIME_ZONE_ID_UNKNOWN:
    case TIME_ZONE_ID_STANDARD:
      return static_cast<int>(zone.Bias + zone.StandardBias);
    case TIME_ZONE_ID_DAYLIGHT:
      return static_cast<int>(zone.Bias + zone.DaylightBias);
    default:
      return std::nullopt;
  }
}

}  // namespace Tav::Platform
