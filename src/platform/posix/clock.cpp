#include "platform/clock.h"

#include <time.h>

namespace Tav::Platform {

namespace {

constexpr int64_t kSecondsFrom1601To1970 = 11644473600;

timespec Read(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now;
}

int64_t Milliseconds(const timespec& time) {
  return static_cast<int64_t>(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

}  // namespace

int64_t UnixMilliseconds() noexcept {
  return Milliseconds(Read(CLOCK_REALTIME));
}

uint64_t FileTimeUnits() noexcept {
  const timespec now = Read(CLOCK_REALTIME);
  return static_cast<uint64_t>(now.tv_sec + kSecondsFrom1601To1970) * 10000000 +
         static_cast<uint64_t>(now.tv_nsec / 100);
}

int64_t MonotonicMilliseconds() noexcept {
  return Milliseconds(Read(CLOCK_MONOTONIC));
}

std::optional<int> QueryUtcBiasMinutes() noexcept {
  const time_t now = time(nullptr);
  tm local{};
  if (!localtime_r(&now, &local)) {
    return std::nullopt;
  }
  return static_cast<int>(-local.tm_gmtoff / 60);
}

}  // namespace Tav::Platform
