// The times of files.
#pragma once

#include <windows.h>

#include <cstdint>

namespace Tav::Platform {

inline constexpr uint64_t kFileTimePerSecond = 10'000'000;
inline constexpr int64_t kSecondsFrom1601To1970 = 11'644'473'600;

inline int64_t ToUnixSeconds(const FILETIME& time) {
  const uint64_t units = static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
  return static_cast<int64_t>(units / kFileTimePerSecond) - kSecondsFrom1601To1970;
}

inline FILETIME ToFileTime(int64_t unixSeconds) {
  const uint64_t units =
      static_cast<uint64_t>(unixSeconds + kSecondsFrom1601To1970) * kFileTimePerSecond;
  return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

}  // namespace Tav::Platform
