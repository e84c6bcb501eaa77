#include "session/limits.h"

#include <algorithm>

#include "cache/cache_manager.h"
#include "config/config_manager.h"
#include "model/library_config.h"
#include "streams/stream.h"
#include "util/log_text.h"
#include "util/logger.h"
#include "util/version.h"

namespace Tav {

namespace {

// A text of more than kMaxTextSize bytes counts as damaged. The estimate of a text leaves out what
// escapes add: up to five bytes for each. The host is bound by this, too.
constexpr int kMaxRecordSize = static_cast<int>(kMaxTextSize / 8);
static_assert(Setting::kMaxRecordSize.max == kMaxRecordSize);

}  // namespace

Limits ResolveLimits(const LibraryConfig& config, const ConfigManager& settings) {
  const auto tuned = [&settings](int hostValue, const NumberSetting& setting) {
    return hostValue == kNotSet ? settings.GetNumberInRange(setting) : hostValue;
  };
  // A size below 1 would mean unbounded records, or no records in memory. It counts as not set.
  const auto tunedSize = [&tuned](int hostValue, const NumberSetting& setting) {
    return tuned(hostValue < 1 ? kNotSet : hostValue, setting);
  };
  Limits limits;
  limits.schedule.persistentInterval = config.persistentInterval;
  limits.schedule.sendInterval = config.sendInterval;
  limits.schedule.flushInterval = tuned(config.flushInterval, Setting::kFlushTime);
  limits.schedule.pauseInterval = tuned(config.pauseInterval, Setting::kPauseTime);
  limits.maxRecordSize =
      std::min(tunedSize(config.maxRecordSize, Setting::kMaxRecordSize), kMaxRecordSize);
  limits.maxMemorySize = tunedSize(config.maxMemorySize, Setting::kMaxMemorySize);
  limits.maxCacheFiles = tuned(config.cacheSize, Setting::kMaxCacheSize);
  limits.maxCacheBytes = config.maxCacheBytes < 1
                             ? static_cast<int>(CacheManager::kDefaultMaxFileSize)
                             : config.maxCacheBytes;
  limits.schedule.sendThreshold = tuned(config.sendThreshold, Setting::kSendThreshold);
  limits.terminateTime = settings.GetNumberInRange(Setting::kTerminateTime);
  limits.schedule.resendTime = settings.GetNumberInRange(Setting::kResendTime);
  limits.schedule.resendDelta = settings.GetNumberInRange(Setting::kResendDelta);
  limits.rate.perMinute = settings.GetNumberInRange(Setting::kMaxEventsPerMinute);
  limits.rate.perHour = settings.GetNumberInRange(Setting::kMaxEventsPerHour);
  return limits;
}

void LogBanner(const LibraryConfig& config, const Limits& limits, const std::string& gatewayUrl) {
  if (!LogEnabled(LogLevel::Note)) {
    return;
  }
  LogBlock(LogLevel::Note,
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
           kLibraryVersion, EscapeControls(config.productName).c_str(),
           EscapeControls(config.productVersion).c_str(), EscapeControls(gatewayUrl).c_str(),
           limits.schedule.persistentInterval, limits.schedule.sendInterval,
           limits.schedule.sendThreshold, limits.maxCacheFiles, limits.maxMemorySize,
           limits.schedule.flushInterval, limits.schedule.pauseInterval, limits.maxRecordSize,
           config.maxEventSize);
  LogBlock(LogLevel::Debug, "SM: CustID: %s, UserID: %s, ProdCtx: %s, ProdComp: %s\n",
           Masked(config.customerId).Text(), Masked(config.userId).Text(),
           EscapeControls(config.productContext).c_str(),
           EscapeControls(config.productComponentName).c_str());
}

}  // namespace Tav
