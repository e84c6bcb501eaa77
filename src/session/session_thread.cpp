#include "session/session_thread.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "cache/cache_file_name.h"
#include "config/server_urls.h"
#include "platform/clock.h"
#include "session/product_versions.h"
#include "session/session_environment.h"
#include "util/logger.h"
#include "util/now.h"
#include "util/storage_directory.h"
#include "util/version.h"

namespace Tav {

namespace {

// Seconds between two checks whether the description of the machine is complete.
constexpr int kClientInfoPoll = 1;

// Milliseconds.
constexpr int kMaxBatchDelay = 1000;
constexpr int kStartLockWait = 2000;

// Seconds. After a turn that threw, the next one waits at least this long: the reason may persist.
constexpr int kPauseAfterFailure = 1;
// Between two attempts to open a storage file that is locked.
constexpr int kStorageRetry = 1;
// While a timer is armed. Unlike the timers, a wait stands still while the computer sleeps, so a
// long one would end too late.
constexpr int kMaxTimedWait = 60;

// If the check fails, the next turn repeats it.
bool IsLocked(const AppStatus& app) try { return app.Locked(); } catch (...) {
  LogException("SM: ");
  return true;
}

RecordHeader HeaderOf(const LibraryConfig& config) {
  RecordHeader header;
  header.customerId = config.customerId;
  header.userId = config.userId;
  header.productContext = config.productContext;
  header.productComponentName = config.productComponentName;
  if (config.tags != nullptr) {
    header.tags = *config.tags;
  }
  return header;
}

}  // namespace

SessionThread::SessionThread(LibraryConfig config, Thread& thread, WorkQueue& queue)
    : config_(std::move(config)),
      consent_(config_.optOut),
      queue_(queue),
      app_(config_, consent_),
      stamps_(app_.Product().Identity(), config_.storage),
      intake_(consent_, app_.Config()),
      journal_(queue),
      builder_(app_.Product(), app_.Machine().Client(), consent_),
      delivery_(app_, stamps_, builder_, intake_, consent_, journal_, queue.Log()),
      recovery_(config_, consent_, app_, intake_, builder_, journal_, delivery_),
      items_(thread, queue, requests_, app_, intake_, delivery_, recovery_),
      shutdown_(app_, stamps_, delivery_, items_, recovery_) {
  config_.productValues.reset();
  builder_.SetHeader(HeaderOf(config_));
  builder_.SetSessionEnvironment(MakeSessionEnvironment(config_.sessionEnvironment.get()));
  builder_.SetBreadcrumbLength(config_.breadcrumbLength);
}

void SessionThread::Run() {
  TAV_DEBUG("SM: Main. Session thread is running. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  intake_.OnQueueTaken(ReadClocks());  // no event is older
  // After a failed start the thread still answers hosts and terminates in order.
  bool started = true;
  try {
    OpenJournal();
    started = StartUp(kStartLockWait) || StartUpLater();
  } catch (...) {
    LogException("SM: ");
    intake_.Disable();
  }
  if (started) {
    ProcessData();
    shutdown_.Run(loader_.get());
  } else {
    EndWithoutSettings();
  }
  journal_.Close();
  TAV_DEBUG("SM: Session thread is exiting. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

bool SessionThread::StartUp(int lockWait) {
  const int64_t end = Platform::MonotonicMilliseconds() + lockWait;
  app_.Machine().CollectClient();
  if (!CheckAppStatus(lockWait)) {
    return false;
  }
  LoadTimestamps(std::max(static_cast<int>(end - Platform::MonotonicMilliseconds()),
                          StorageFile::kDefaultLockWait));
  SetEndpoint();
  app_.Machine().LogClientEnv();
  TAV_DEBUG("SM: Endpt: %s", app_.Machine().EndpointId().c_str());
  OpenCache();
  app_.ClearOldOptOut();
  delivery_.Batch().EstimateOverhead();
  if (app_.Changes().RecordDue() && !delivery_.Store().HasCacheFiles()) {
    delivery_.Schedule().ArmPause(ReadClocks());
  }
  return true;
}

// Without the stored settings it is unknown what may be reported, and to which server.
bool SessionThread::StartUpLater() {
  LogWarning("SM: The storage file is locked. Nothing is sent until it can be opened");
  stamps_.LoadDays(CurrentTime());
  items_.Hold();
  queue_.SetBatchDelay(kMaxBatchDelay);
  bool started = false;
  while (!started && !items_.Terminating()) {
    items_.ProcessWork(queue_.TakeWork(kStorageRetry), ReadClocks());
    journal_.Refill();
    started = !IsLocked(app_) && StartUp(StorageFile::kDefaultLockWait);
  }
  return started || StartUp(shutdown_.LockWait());
}

void SessionThread::EndWithoutSettings() {
  LogWarning("SM: The storage file is still locked. Everything unsent goes to the cache");
  try {
    app_.AssumeNothingChanged();
    ApplyLimits();
    SetEndpoint();
    OpenCache();
  } catch (...) {
    LogException("SM: ");
  }
  items_.Release(ReadClocks());
  shutdown_.CacheEverything();
}

bool SessionThread::CheckAppStatus(int lockWait) {
  if (!app_.Load(lockWait)) {
    return false;
  }
  ApplySettings();
  app_.UpdateServer(delivery_.Sender().GatewayUrl());
  return true;
}

void SessionThread::LoadTimestamps(int lockWait) {
  TAV_DEBUG("SM: Loading PS timestamps...");
  const bool newDay =
      stamps_.LoadTimestamp(CurrentTime(), consent_.AllowsSettingsRequest(), lockWait);
  if (!stamps_.Loaded()) {
    return;
  }
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

void SessionThread::ApplyLimits() {
  limits_ = ResolveLimits(config_, app_.Config());
  terminateTime_.store(limits_.terminateTime, std::memory_order_relaxed);
  delivery_.SetLimits(limits_);
  intake_.SetLimits(limits_.rate);
  builder_.SetMaxRecordSize(limits_.maxRecordSize);
  // A host that asks for no pause after activity gets no batch delay either.
  queue_.SetBatchDelay(std::clamp(limits_.schedule.pauseInterval, 0, 1) * kMaxBatchDelay);
}

void SessionThread::ApplySettings() {
  ApplyLimits();
  const ConfigManager& settings = app_.Config();
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
      GetStorageDirectory(config_.storage),
      CachePrefix(config_.productName, config_.productVersion, config_.deployment));
  for (const std::string& version : OtherVersions(app_.Product().Identity(), config_.storage)) {
    cache->AddVersion(CachePrefix(config_.productName, version, config_.deployment));
  }
  cache->SetLimits(static_cast<uint32_t>(limits_.maxCacheFiles),
                   static_cast<uint32_t>(limits_.maxCacheBytes));
  delivery_.Store().OpenCache(std::move(cache), config_.persistentInterval);
  delivery_.Store().SetLeaseLog(&journal_);
}

// Before any other file is touched: the sooner it exists, the fewer events depend on the process.
// An opted-out run accepts no events.
void SessionThread::OpenJournal() try {
  if (consent_.AllowsReports()) {
    journal_.Open(GetStorageDirectory(config_.storage),
                  JournalPrefix(config_.productName, config_.productVersion, config_.deployment),
                  DescribeRun());
  }
} catch (...) {
  LogException("SM: ");
}

RunBlock SessionThread::DescribeRun() const {
  RunBlock run;
  run.product = app_.Product().Identity();
  run.libraryVersion = kLibraryVersion;
  run.endpointId = app_.Machine().EndpointId();
  run.customerId = config_.customerId;
  run.userId = config_.userId;
  run.productContext = config_.productContext;
  run.productComponentName = config_.productComponentName;
  if (config_.tags != nullptr) {
    run.tags = *config_.tags;
  }
  run.sessionEnvironment = MakeSessionEnvironment(config_.sessionEnvironment.get());
  run.breadcrumbLength = config_.breadcrumbLength;
  return run;
}

void SessionThread::SetEndpoint() {
  app_.Machine().ComputeEndpoint();
  builder_.SetEndpoint(app_.Machine().EndpointId());
  journal_.Update(DescribeRun());
}

void SessionThread::ProcessData() {
  TAV_DEBUG("SM: Processing data. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  const RecordStore& store = delivery_.Store();
  delivery_.Schedule().SetInitialWaitTime(ReadClocks(), store.CacheSize(), store.OldestCached());
  items_.Release(ReadClocks());
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
  items_.AnswerUnfinished();
  TAV_DEBUG("SM: ProcessData got terminating. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

void SessionThread::ProcessTurn(int minTimeout) {
  const Now now = ReadClocks();
  int timeout = delivery_.Schedule().ComputeTimeout(now);
  if (delivery_.Schedule().Armed()) {
    timeout = std::min(timeout, kMaxTimedWait);
  }
  if (app_.Machine().ClientPending()) {
    timeout = std::min(timeout, kClientInfoPoll);
  }
  if (StorageWorkLeft()) {
    timeout = std::min(timeout, kStorageRetry);
  }
  if (delivery_.Busy()) {
    timeout = 0;
  }
  delivery_.Schedule().CheckTimers(now);
  if (timeout > 0) {
    journal_.Shrink();
  }
  timeout = std::min(timeout, recovery_.Timeout());
  Work work = queue_.TakeWork(std::max(timeout, minTimeout));
  journal_.Refill();
  RetryStorage();
  items_.ProcessWork(std::move(work), ReadClocks());
  if (items_.Terminating()) {
    return;
  }
  if (app_.Machine().FinishClientInfo(0)) {
    delivery_.Schedule().OnFirstPending(ReadClocks());
  }
  // One step, so that hosts are not kept waiting. The host's own first events come before.
  recovery_.Step();
  SendOrFlush();
  delivery_.ArmFlush();
}

// Sends one slice, so that a long send holds up neither the hosts nor a flush.
void SessionThread::SendOrFlush() {
  bool due = true;
  if (items_.CommitPending()) {
    items_.ContinueCommit();
  } else {
    due = delivery_.IsSendDue(items_.Suspended());
    if (due) {
      delivery_.SendSome();
    }
  }
  if ((!due || delivery_.Sending()) && !items_.SuspendedForTermination()) {
    delivery_.FlushIfDue();
  }
}

bool SessionThread::StorageWorkLeft() const {
  return app_.Machine().CollectionDue() || !stamps_.Loaded() || stamps_.Unsaved() || app_.Unsaved();
}

// Repeats what locked storage files have prevented. Never waits for a lock that is held for long.
void SessionThread::RetryStorage() try {
  if (!StorageWorkLeft()) {
    return;
  }
  if (!stamps_.Locked()) {
    if (!stamps_.Loaded()) {
      LoadTimestamps(StorageFile::kDefaultLockWait);
    }
    stamps_.StoreUnsaved(StorageFile::kDefaultLockWait);
    if (app_.Machine().CollectionDue() && app_.Machine().CollectClientLate()) {
      delivery_.Schedule().OnFirstPending(ReadClocks());
    }
  }
  if (app_.Unsaved() && !app_.Locked()) {
    app_.StoreUnsaved(StorageFile::kDefaultLockWait);
  }
} catch (...) {
  LogException("SM: ");
}

}  // namespace Tav
