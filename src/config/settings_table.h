// The numbers among the server's settings: name, range and default, each once. docs/settings.md
// explains them.
#pragma once

#include <cstdint>

namespace Tav {

struct NumberSetting {
  const char* name;
  int32_t min;
  int32_t max;
  int32_t defaultValue;
};

namespace Setting {

inline constexpr int32_t kSecondsOfADay = 86400;

// A flag without a range: any number but 0 disables reporting.
inline constexpr char kDisabled[] = "disabled";
// Seconds.
inline constexpr NumberSetting kFlushTime{"flush_time", 0, kSecondsOfADay, 360};
inline constexpr NumberSetting kPauseTime{"pause_time", 0, kSecondsOfADay, 1};
inline constexpr NumberSetting kResendTime{"resend_time", 0, kSecondsOfADay, 300};
inline constexpr NumberSetting kResendDelta{"resend_delta", 0, kSecondsOfADay, 900};
inline constexpr NumberSetting kTerminateTime{"terminate_time", 2, 30, 10};
// Bytes. The maxima also keep multiples of them within 32 bits: 16 times the memory stays in memory
// when the cache fails, and a cache file has a mebibyte.
inline constexpr NumberSetting kSendThreshold{"send_threshold", 1, 1 << 30, 1 << 20};
inline constexpr NumberSetting kMaxRecordSize{"max_record_size", 4096, 2 << 20, 511800};
inline constexpr NumberSetting kMaxMemorySize{"max_memory_size", 64, 64 << 20, 2 << 20};
// Files.
inline constexpr NumberSetting kMaxCacheSize{"max_cache_size", 1, 2047, 50};
// Events; 0 is no limit.
inline constexpr NumberSetting kMaxEventsPerMinute{"max_event_per_minute", 0, 1'000'000, 0};
inline constexpr NumberSetting kMaxEventsPerHour{"max_event_per_hour", 0, 10'000'000, 0};

// The only text.
inline constexpr char kGateway[] = "gateway";

}  // namespace Setting

}  // namespace Tav
