#include "session/session_thread.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "cache/cache_file_name.h"
#include "config/server_urls.h"
#include "session/session_environment.h"
#include "util/logger.h"
#include "util/storage_directory.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

// Seconds between two checks whether the description of the machine is complete.
constexpr int kClientInfoPoll = 1;

// Milliseconds.
constexpr int kMaxBatchDelay = 1000;
constexpr int64_t kMaxWaitForSettings = 5000;
constexpr int64_t kMaxWaitForClient = 1000;

// Seconds. After a turn that threw, the next one waits at least this long: the reason may persist.
constexpr int kPauseAfterFailure = 1;

// Runs one step of the termination. If it throws, the later steps still run.
template <typename Step>
void Attempt(Step step) {
  try {
    step();
  } catch (...) {
    LogException("SM: ");
  }
}

RecordHeader HeaderOf(LibraryConfig& config) {
  RecordHeader header;
  header.customerId = config.customerId;
  header.userId = config.userId;
  header.productContext = config.productContext;
  header.productComponentName = config.productComponentName;
  if (config.tags != nullptr) {
    header.tags = std::move(*config.tags);
  }
  return header;
}

}  // namespace

SessionThread::SessionThread(LibraryConfig config, Thread& thread, WorkQueue& queue)
    : config_(std::move(config)),
      consent_(config_.optOut),
      queue_(queue),
      app_(config_, consent_),
      stamps_(app_.Product().Identity()),
      intake_(consent_, app_.Config()),
      builder_(app_.Product(), app_.Client(), consent_),
      delivery_(app_, stamps_, builder_, intake_, consent_),
      items_(thread, requests_, app_, intake_, delivery_) {
  config_.productValues.reset();
  builder_.SetHeader(HeaderOf(config_));
  builder_.SetSessionEnvironment(MakeSessionEnvironment(config_.sessionEnvironment.get()));
  builder_.SetBreadcrumbLength(config_.breadcrumbLength);
}

void SessionThread::Run() {
  TAV_DEBUG("SM: Main. Session thread is running. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  // After a failed start the thread still answers hosts and terminates in order.
  try {
    StartUp();
  } catch (...) {
    LogException("SM: ");
    intake_.Disable();
  }
  ProcessData();
  ProcessTermination();
  TAV_DEBUG("SM: Session thread is exiting. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

void SessionThread::StartUp() {
  app_.CollectClient();
  CheckAppStatus();
  app_.ComputeEndpoint();
  builder_.SetEndpoint(app_.EndpointId());
  app_.LogClientEnv();
  TAV_DEBUG("SM: Endpt: %s", app_.EndpointId().c_str());
  OpenCache();
  delivery_.Batch().EstimateOverhead();
  if (app_.Changes().RecordDue() && !delivery_.Store().HasCacheFiles()) {
    delivery_.Schedule().ArmPause(CurrentTime());
  }
}

void SessionThread::CheckAppStatus() {
  app_.Load();
  ApplySettings();
  app_.UpdateServer(delivery_.Sender().GatewayUrl());
  TAV_DEBUG("SM: Loading PS timestamps...");
  const bool newDay = stamps_.LoadTimestamp(CurrentTime(), consent_.AllowsSettingsRequest());
  if (!consent_.AllowsSettingsRequest()) {
    TAV_DEBUG("SM: In opt-out mode. Not requesting settings");
    return;
  }
  if (!newDay) {
    TAV_DEBUG("SM: Config stamp unchanged");
    return;
  }
  TAV_DEBUG("SM: Config stamp update. Starting loader");
  loader_ =
      CreateConfigLoader(app_.Product().Identity(), config_.hostConfigUrl, config_.deployment);
  if (!loader_->Run()) {
    loader_.reset();
  }
}

void SessionThread::ApplySettings() {
  const ConfigManager& settings = app_.Config();
  limits_ = ResolveLimits(config_, settings);
  terminateTime_.store(limits_.terminateTime, std::memory_order_relaxed);
  delivery_.SetLimits(limits_);
  intake_.SetLimits(limits_.rate);
  builder_.SetMaxRecordSize(limits_.maxRecordSize);
  // A host that asks for no pause after activity gets no batch delay either.
  queue_.SetBatchDelay(std::clamp(limits_.schedule.pauseInterval, 0, 1) * kMaxBatchDelay);

  const bool hasSender =
      delivery_.Sender().UseGateway(ChooseGateway(settings.GetString(Setting::kGateway, ""),
                                                  app_.Product().GetServer(), config_.deployment)
                                        .url);
  if (settings.GetNumber(Setting::kDisabled, 0) != 0) {
    intake_.Disable();
    TAV_DEBUG("SM: Analytics disabled due to settings");
  } else if (!hasSender) {
    intake_.Disable();
    LogWarning("SM: Disabling due to bad dataSender");
  }
  LogBanner(config_, limits_, delivery_.Sender().GatewayUrl());
}

// The casts turn a count of cache files that overflowed to a negative number into a huge limit.
void SessionThread::OpenCache() {
  auto cache = std::make_unique<CacheManager>(
      GetStorageDirectory(),
      CachePrefix(config_.productName, config_.productVersion, config_.deployment));
  cache->SetLimits(static_cast<uint32_t>(limits_.maxCacheFiles),
                   static_cast<uint32_t>(limits_.maxCacheBytes));
  delivery_.Store().OpenCache(std::move(cache), config_.persistentInterval);
  app_.ClearOldOptOut();
}

void SessionThread::ProcessData() {
  TAV_DEBUG("SM: Processing data. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  const RecordStore& store = delivery_.Store();
  delivery_.Schedule().SetInitialWaitTime(CurrentTime(), store.CacheSize(), store.OldestCached());
  int minTimeout = 0;
  while (!items_.Terminating()) {
    // What fails for one record or event must not end the thread.
    try {
      ProcessTurn(minTimeout);
      minTimeout = 0;
    } catch (...) {
      LogException("SM: ");
      minTimeout = kPauseAfterFailure;
    }
  }
  TAV_DEBUG("SM: ProcessData got terminating. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

void SessionThread::ProcessTurn(int minTimeout) {
  const int64_t now = CurrentTime();
  intake_.Roll(now);
  int timeout = delivery_.Schedule().ComputeTimeout(now);
  if (app_.ClientPending()) {
    timeout = std::min(timeout, kClientInfoPoll);
  }
  delivery_.Schedule().CheckTimers(now);
  items_.ProcessItems(queue_.TakeItems(std::max(timeout, minTimeout)), CurrentTime());
  if (items_.Terminating()) {
    return;
  }
  if (app_.FinishClientInfo(0)) {
    delivery_.Schedule().OnFirstPending(CurrentTime());
  }
  if (delivery_.IsSendDue(items_.Suspended())) {
    delivery_.SendToServer();
  } else if (!items_.SuspendedForTermination()) {
    delivery_.FlushIfDue();
  }
}

void SessionThread::ProcessTermination() {
  TAV_DEBUG("SM: Processing termination. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  Attempt([this] { items_.RestorePulled(); });
  Attempt([this] { FinishClientInfo(); });
  Attempt([this] { delivery_.ProcessEventList(true); });
  Attempt([this] { delivery_.SendAtTermination(); });
  Attempt([this] { delivery_.CacheUnsent(); });
  Attempt([this] { ApplyFetchedSettings(); });
  Attempt([this] { app_.PersistPendingOptOut(); });
  Attempt([this] { stamps_.PersistLastActiveTime(CurrentTime()); });
}

// The description is collected once in several days, so a short wait is worthwhile. It must leave
// time for sending.
void SessionThread::FinishClientInfo() {
  if (!app_.ClientPending()) {
    return;
  }
  const int64_t limit = std::min(delivery_.Sender().TimeToDeadline() / 4, kMaxWaitForClient);
  app_.FinishClientInfo(static_cast<int>(limit));
  if (app_.ClientPending()) {
    app_.AbandonClientInfo();
  }
}

// Settings that arrived during this run apply to the next one.
void SessionThread::ApplyFetchedSettings() {
  if (loader_ == nullptr) {
    return;
  }
  loader_->Join(
      static_cast<int>(std::min(delivery_.Sender().TimeToDeadline(), kMaxWaitForSettings)));
  if (!loader_->Ended()) {
    TAV_DEBUG("SM: Config loader is not done");
  } else if (loader_->Answer().empty()) {
    TAV_DEBUG("SM: No settings retrieved");
  } else {
    TAV_DEBUG("SM: Settings retrieved from server");
    app_.StoreFetchedSettings(loader_->Answer(), delivery_.Sender().GatewayUrl());
  }
}

}  // namespace Tav
