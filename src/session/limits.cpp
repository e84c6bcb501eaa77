#include "session/limits.h"

#include <algorithm>

#include "cache/cache_manager.h"
#include "config/config_manager.h"
#include "model/library_config.h"
#include "streams/stream.h"
#include "util/logger.h"
#include "util/version.h"

namespace Tav {

namespace {

// Seconds. Bounds the server's setting for how long TavTerminate waits.
constexpr int kMaxTerminateTime = 3600;

// A text of more than kMaxTextSize bytes counts as damaged. The estimate of a text leaves out what
// escapes add: up to five bytes for each.
constexpr int kMaxRecordSize = static_cast<int>(kMaxTextSize / 8);

}  // namespace

Limits ResolveLimits(const LibraryConfig& config, const ConfigManager& settings) {
  const auto tuned = [&settings](int hostValue, const char* name, int defaultValue) {
    return hostValue == kNotSet ? settings.GetNumber(name, defaultValue) : hostValue;
  };
  // A size below 1 would mean unbounded records, or no records in memory.
  const auto tunedSize = [&tuned](int hostValue, const char* name, int defaultValue) {
    const int size = tuned(hostValue, name, defaultValue);
    return size < 1 ? defaultValue : size;
  };
  Limits limits;
  limits.schedule.persistentInterval = config.persistentInterval;
  limits.schedule.sendInterval = config.sendInterval;
  limits.schedule.flushInterval = tuned(config.flushInterval, "flush_time", 360);
  limits.schedule.pauseInterval = tuned(config.pauseInterval, "pause_time", 1);
  limits.maxRecordSize =
      std::min(tunedSize(config.maxRecordSize, "max_record_size", 511800), kMaxRecordSize);
  limits.maxMemorySize = tunedSize(config.maxMemorySize, "max_memory_size", 2097152);
  limits.maxCacheFiles = tuned(config.cacheSize, "max_cache_size", 50);
  limits.maxCacheBytes = config.maxCacheBytes < 1
                             ? static_cast<int>(CacheManager::kDefaultMaxFileSize)
                             : config.maxCacheBytes;
  limits.schedule.sendThreshold = tuned(config.sendThreshold, "send_threshold", 1048576);
  limits.terminateTime = std::clamp(settings.GetNumber("terminate_time", 10), 0, kMaxTerminateTime);
  limits.schedule.resendTime = settings.GetNumber("resend_time", 300);
  limits.schedule.resendDelta = settings.GetNumber("resend_delta", 900);
  limits.rate.perMinute = settings.GetNumber("max_event_per_minute", 0);
  limits.rate.perHour = settings.GetNumber("max_event_per_hour", 0);
  return limits;
}

void LogBanner(const LibraryConfig& config, const Limits& limits, const std::string& gatewayUrl) {
  TAV_NOTE(
      "\n    ------------------------------------------"
      "\n    ANALYTICS SDK VERSION:          %s"
      "\n    Product name:                   %s"
      "\n    Product version:                %s"
      "\n    Gateway URL:                    %s"
      "\n    Persistent interval enabled:    %d"
      "\n    Send interval (seconds):        %d"
      "\n    Send threshold (bytes):         %d"
      "\n    Max cache files:                %d"
      "\n    Max memory size (bytes):        %d"
      "\n    Flush interval (seconds):       %d"
      "\n    Pause interval (seconds):       %d"
      "\n    Record size (bytes):            %d"
      "\n    Max event size (bytes):         %d"
      "\n    ------------------------------------------",
      kLibraryVersion, config.productName.c_str(), config.productVersion.c_str(),
      gatewayUrl.c_str(), limits.schedule.persistentInterval, limits.schedule.sendInterval,
      limits.schedule.sendThreshold, limits.maxCacheFiles, limits.maxMemorySize,
      limits.schedule.flushInterval, limits.schedule.pauseInterval, limits.maxRecordSize,
      config.maxEventSize);
  TAV_DEBUG("SM: CustID: %s, UserID: %s, ProdCtx: %s, ProdComp: %s\n", config.customerId.c_str(),
            config.userId.c_str(), config.productContext.c_str(),
            config.productComponentName.c_str());
}

}  // namespace Tav
