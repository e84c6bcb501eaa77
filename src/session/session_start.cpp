// What the session thread does before it looks at its first item.
#include <algorithm>
#include <mutex>
#include <utility>

#include "config/server_urls.h"
#include "session/session_manager.h"
#include "util/logger.h"
#include "util/storage_directory.h"
#include "util/time_stamp.h"
#include "util/version.h"

namespace Tav {

namespace {

constexpr int kLongestLinger = 1000;  // milliseconds
// No setting may hold a host's end up for longer, in seconds.
constexpr int kLongestTerminateTime = 3600;

}  // namespace

void SessionManager::StartUp() {
  // An opted-out product describes nothing, so there is nothing to collect.
  if (!config_.optOut) {
    client_.Collect();
  }
  CheckAppStatus();
  endpoint_.Compute();
  builder_.SetEndpoint(endpoint_.GetId());
  client_.LogClientEnv();
  TAV_DEBUG("SM: Endpt: %s", endpoint_.GetId().c_str());
  OpenCache();
  overheadEstimate_ = builder_.OverheadEstimate();
  if (changed_.app && cache_->FileCount() == 0) {
    schedule_.ArmPause(CurrentTime());
  }
}

void SessionManager::CheckAppStatus() {
  status_.Load();
  ApplySettings();
  UpdateServer();
  TAV_DEBUG("SM: Loading PS timestamps...");
  if (status_.LoadTimestamp(CurrentTime())) {
    TAV_DEBUG("SM: Config stamp update. Starting loader");
    StartConfigLoader();
  } else {
    TAV_DEBUG("SM: Config stamp unchanged");
  }
}

void SessionManager::StartConfigLoader() {
  loader_ = CreateConfigLoader(product_.GetName(), product_.GetVersion(), product_.GetPlatform());
  if (!loader_->Run()) {
    loader_.reset();
  }
}

// Finds what earlier runs have left. A number of files too large for its type has become negative
// and stands for as many as the cache can have. An opted-out product lets none of it go out any
// more.
void SessionManager::OpenCache() {
  cache_ = std::make_unique<CacheManager>(
      GetStorageDirectory(), product_.GetName(), product_.GetVersion(),
      static_cast<uint32_t>(maxCacheFiles_), static_cast<uint32_t>(maxCacheBytes_));
  cache_->ScanFiles(config_.persistentInterval);
  if (!config_.optOut) {
    return;
  }
  TAV_DEBUG("SM: In opt-out mode. Deleting cache...");
  cache_->DeleteAll();
  if (!product_.IsPendingOptOutCleared()) {
    TAV_DEBUG("SM: In opt-out mode with pending opt-out in PS. Clearing it...");
    status_.ClearPendingOptOut();
  }
}

// A server that the product data has never been sent to needs all of it.
void SessionManager::UpdateServer() {
  if (config_.optOut || product_.GetServer() == gatewayUrl_) {
    return;
  }
  product_.SetServer(gatewayUrl_);
  newServer_ = true;
  changed_.client = true;
  changed_.productEnvironment = true;
  changed_.app = true;
  TAV_DEBUG("SM: App changed. Sending product and client information due to server change");
}

// The rest of the description takes its time; events are taken and sent meanwhile.
void SessionManager::FinishClientInfo(int milliseconds) {
  if (client_.Pending() && client_.Finish(milliseconds)) {
    OnClientInfo();
  }
}

void SessionManager::OnClientInfo() {
  client_.LogClientEnv();
  if (status_.IsClientChanged() || newServer_) {
    changed_.client = true;
    changed_.app = true;
    schedule_.OnFirstPending(CurrentTime());
  }
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
  // A size that is none would make records without bound, or keep nothing in memory at all.
  const auto tunedSize = [&tuned](int hostValue, const char* name, int defaultValue) {
    const int size = tuned(hostValue, name, defaultValue);
    return size < 1 ? defaultValue : size;
  };
  maxRecordSize_ = tunedSize(config_.maxRecordSize, "max_record_size", 511800);
  maxMemorySize_ = tunedSize(config_.maxMemorySize, "max_memory_size", 2097152);
  maxCacheFiles_ = tuned(config_.cacheSize, "max_cache_size", 50);
  maxCacheBytes_ = config_.maxCacheBytes < 1 ? static_cast<int>(CacheManager::kDefaultMaxFileSize)
                                             : config_.maxCacheBytes;
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

  UpdateSender(ChooseUrl({}, kGatewayUrlVariable, settings_.GetString("gateway", ""),
                         kGatewayUrls.external, kGatewayUrls.internal, kGatewayUrls.development));
  disabled_ = settings_.GetNumber("disabled", 0) != 0;
  if (disabled_) {
    TAV_DEBUG("SM: Analytics disabled due to settings");
  } else if (sender_ == nullptr) {
    disabled_ = true;
    LogWarning("SM: Disabling due to bad dataSender");
  }
  LogBanner(tuning);
}

void SessionManager::UpdateSender(std::string url) {
  gatewayUrl_ = std::move(url);
  auto sender = std::make_unique<ThreadedDataSender>(
      [target = gatewayUrl_] { return CreateDataSender(target); });
  const std::lock_guard guard(senderLock_);
  sender_.swap(sender);
  if (const int64_t deadline = finalDeadline_.load(std::memory_order_relaxed); deadline != 0) {
    sender_->LimitTo(deadline);
  }
}

void SessionManager::LogBanner(const SendSchedule::Tuning& tuning) const {
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
      maxCacheFiles_, maxMemorySize_, tuning.flushInterval, tuning.pauseInterval, maxRecordSize_,
      maxEventSize_);
  TAV_DEBUG("SM: CustID: %s, UserID: %s, ProdCtx: %s, ProdComp: %s\n", config_.customerId.c_str(),
            config_.userId.c_str(), config_.productContext.c_str(),
            config_.productComponentName.c_str());
}

}  // namespace Tav
