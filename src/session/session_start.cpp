// What the session thread does before it looks at its first item.
#include <algorithm>
#include <utility>

#include "config/server_urls.h"
#include "session/session_manager.h"
#include "util/logger.h"
#include "util/version.h"

namespace Tav {

namespace {

constexpr int kLongestLinger = 1000;  // milliseconds
// No setting may hold a host's end up for longer, in seconds.
constexpr int kLongestTerminateTime = 3600;

}  // namespace

void SessionManager::CheckAppStatus() {
  TAV_DEBUG("SM: CheckAppStatus. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  changed_.productEnvironment = product_.IsChanged();
  changed_.app = changed_.productEnvironment || changed_.client;
  TAV_DEBUG("SM: App changed: %d (prodEnv: %d, cli: %d, ep: %d)", changed_.app,
            changed_.productEnvironment, changed_.client, 0);
  ApplySettings();
  UpdateServer();
}

// A server that the product data has never been sent to needs all of it.
void SessionManager::UpdateServer() {
  if (config_.optOut || product_.GetServer() == gatewayUrl_) {
    return;
  }
  product_.SetServer(gatewayUrl_);
  changed_.client = true;
  changed_.productEnvironment = true;
  changed_.app = true;
  TAV_DEBUG("SM: App changed. Sending product and client information due to server change");
}

void SessionManager::ApplySettings() {
  const auto tuned = [this](int hostValue, const char* name, int defaultValue) {
    return hostValue == kNotSet ? settings_.GetNumber(name, defaultValue) : hostValue;
  };
  SendSchedule::Tuning tuning;
  tuning.persistentInterval = config_.persistentInterval;
  tuning.sendInterval = config_.sendInterval;
  tuning.flushInterval = tuned(config_.flushInterval, "flush_time", 360);
  tuning.pauseInterval = tuned(config_.pauseInterval, "pause_time", 1);
  maxRecordSize_ = tuned(config_.maxRecordSize, "max_record_size", 511800);
  maxMemorySize_ = tuned(config_.maxMemorySize, "max_memory_size", 2097152);
  const int maxCacheFiles = tuned(config_.cacheSize, "max_cache_size", 50);
  tuning.sendThreshold = tuned(config_.sendThreshold, "send_threshold", 1048576);
  terminateTime_.store(
      std::clamp(settings_.GetNumber("terminate_time", 10), 0, kLongestTerminateTime),
      std::memory_order_relaxed);
  tuning.resendTime = settings_.GetNumber("resend_time", 300);
  tuning.resendDelta = settings_.GetNumber("resend_delta", 900);
  maxEventsPerMinute_ = settings_.GetNumber("max_event_per_minute", 0);
  maxEventsPerHour_ = settings_.GetNumber("max_event_per_hour", 0);
  schedule_.Tune(tuning);
  builder_.SetMaxRecordSize(maxRecordSize_);
  // A host that wants no pause after activity is not made to wait for lingering either.
  queue_.SetLinger(std::clamp(tuning.pauseInterval, 0, 1) * kLongestLinger);

  gatewayUrl_ = ChooseUrl({}, kGatewayUrlVariable, settings_.GetString("gateway", ""),
                          kGatewayUrls.external, kGatewayUrls.internal, kGatewayUrls.development);
  sender_ = CreateDataSender(gatewayUrl_);
  disabled_ = settings_.GetNumber("disabled", 0) != 0;
  if (disabled_) {
    TAV_DEBUG("SM: Analytics disabled due to settings");
  } else if (sender_ == nullptr) {
    disabled_ = true;
    LogWarning("SM: Disabling due to bad dataSender");
  }
  LogBanner(tuning, maxCacheFiles);
}

void SessionManager::LogBanner(const SendSchedule::Tuning& tuning, int maxCacheFiles) const {
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
      kLibraryVersion, product_.GetName().c_str(), product_.GetVersion().c_str(),
      gatewayUrl_.c_str(), tuning.persistentInterval, tuning.sendInterval, tuning.sendThreshold,
      maxCacheFiles, maxMemorySize_, tuning.flushInterval, tuning.pauseInterval, maxRecordSize_,
      maxEventSize_);
  TAV_DEBUG("SM: CustID: %s, UserID: %s, ProdCtx: %s, ProdComp: %s\n", config_.customerId.c_str(),
            config_.userId.c_str(), config_.productContext.c_str(),
            config_.productComponentName.c_str());
}

}  // namespace Tav
