#include "session/startup.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "cache/cache_file_name.h"
#include "config/server_urls.h"
#include "platform/clock.h"
#include "session/session_environment.h"
#include "session/shutdown.h"
#include "session/storage_retry.h"
#include "storage/persistent_storage.h"
#include "util/logger.h"
#include "util/now.h"
#include "util/storage_directory.h"
#include "util/version.h"

namespace Tav {

namespace {

// Milliseconds.
constexpr int kMaxBatchDelay = 1000;
constexpr int kStartLockWait = 2000;

// If the check fails, the next turn repeats it.
bool IsLocked(const AppStatus& app) try { return app.Locked(); } catch (...) {
  LogException("SM: ");
  return true;
}

}  // namespace

bool Startup::Run(const Shutdown& shutdown) {
  return StartUp(kStartLockWait) || StartUpLater(shutdown);
}

bool Startup::StartUp(int lockWait) try {
  locked_ = !RunStages(lockWait);
  return !locked_;
} catch (...) {
  locked_ = false;
  LogException("SM: ");
  return false;
}

bool Startup::RunStages(int lockWait) {
  const int64_t end = Platform::MonotonicMilliseconds() + lockWait;
  if (stage_ == Stage::Journal) {
    OpenJournal();
    stage_ = Stage::Load;
  }
  parts_.app.Machine().CollectClient();
  if (stage_ == Stage::Load) {
    if (!parts_.app.Load(lockWait)) {
      return false;
    }
    stage_ = Stage::Settings;
  }
  if (stage_ == Stage::Settings) {
    ApplySettings();
    parts_.app.UpdateServer(parts_.delivery.Sender().GatewayUrl());
    stage_ = Stage::Stamps;
  }
  if (stage_ == Stage::Stamps) {
    LoadTimestamps(parts_, std::max(static_cast<int>(end - Platform::MonotonicMilliseconds()),
                                    StorageFile::kDefaultLockWait));
    stage_ = Stage::Cache;
  }
  SetEndpoint();
  parts_.app.Machine().LogClientEnv();
  TAV_DEBUG("SM: Endpt: %s", parts_.app.Machine().EndpointId().c_str());
  OpenCache();
  parts_.app.ClearOldOptOut();
  parts_.delivery.Batch().EstimateOverhead();
  if (parts_.app.Changes().RecordDue() && !parts_.delivery.Store().HasCacheFiles()) {
    parts_.delivery.Schedule().ArmPause(ReadClocks());
  }
  return true;
}

// Without the stored settings it is unknown what may be reported, and to which server.
bool Startup::StartUpLater(const Shutdown& shutdown) {
  if (locked_) {
    LogWarning("SM: The storage file is locked. Nothing is sent until it can be opened");
  } else {
    LogWarning("SM: The start has failed. Nothing is sent until another attempt succeeds");
  }
  parts_.items.Hold();
  parts_.queue.SetBatchDelay(kMaxBatchDelay);
  bool started = false;
  while (!started && !parts_.items.Terminating()) {
    KeepReports();
    started = !(locked_ && IsLocked(parts_.app)) && StartUp(StorageFile::kDefaultLockWait);
  }
  return started || StartUp(shutdown.LockWait());
}

// The journal keeps the events and the item handler all else.
void Startup::KeepReports() try {
  if (stage_ <= Stage::Load && !std::exchange(daysLoaded_, true)) {
    parts_.stamps.LoadDays(CurrentTime());
  }
  parts_.items.ProcessWork(parts_.queue.TakeWork(kStorageRetry), ReadClocks());
  parts_.journal.Refill();
} catch (...) {
  LogException("SM: ");
}

void Startup::RunWithoutSettings() {
  if (locked_) {
    LogWarning("SM: The storage file is still locked. Everything unsent goes to the cache");
  } else {
    LogWarning("SM: The start has failed again. Everything unsent goes to the cache");
  }
  try {
    if (stage_ <= Stage::Load) {
      parts_.app.AssumeNothingChanged();
    }
    ApplyLimits();
    SetEndpoint();
    OpenCache();
  } catch (...) {
    LogException("SM: ");
  }
}

void Startup::ApplyLimits() {
  parts_.limits = ResolveLimits(parts_.config, parts_.app.Config());
  parts_.terminateTime.store(parts_.limits.terminateTime, std::memory_order_relaxed);
  parts_.delivery.SetLimits(parts_.limits);
  parts_.intake.SetLimits(parts_.limits.rate);
  parts_.builder.SetMaxRecordSize(parts_.limits.maxRecordSize);
  // A host that asks for no pause after activity gets no batch delay either.
  parts_.queue.SetBatchDelay(std::clamp(parts_.limits.schedule.pauseInterval, 0, 1) *
                             kMaxBatchDelay);
}

void Startup::ApplySettings() {
  ApplyLimits();
  const ConfigManager& settings = parts_.app.Config();
  if (!parts_.delivery.Sender().UseGateway(ChooseGateway(settings.GetString(Setting::kGateway, ""),
                                                         parts_.app.Product().GetServer(),
                                                         parts_.config.deployment)
                                               .url)) {
    throw std::bad_alloc();
  }
  if (settings.GetNumber(Setting::kDisabled, 0) != 0) {
    parts_.intake.Disable();
    TAV_DEBUG("SM: Analytics disabled due to settings");
  }
  LogBanner(parts_.config, parts_.limits, parts_.delivery.Sender().GatewayUrl());
}

// The casts turn a count of cache files that overflowed to a negative number into a huge limit.
void Startup::OpenCache() {
  auto cache = std::make_unique<CacheManager>(
      GetStorageDirectory(parts_.config.storage),
      CachePrefix(parts_.config.productName, parts_.config.productVersion,
                  parts_.config.deployment));
  for (const std::string& version :
       OtherVersions(parts_.app.Product().Identity(), parts_.config.storage)) {
    cache->AddVersion(CachePrefix(parts_.config.productName, version, parts_.config.deployment));
  }
  cache->SetLimits(static_cast<uint32_t>(parts_.limits.maxCacheFiles),
                   static_cast<uint32_t>(parts_.limits.maxCacheBytes));
  parts_.delivery.Store().OpenCache(std::move(cache), parts_.config.persistentInterval);
  parts_.delivery.Store().SetLeaseLog(&parts_.journal);
}

// Called before any file but older journals is touched: the sooner the journal exists, the fewer
// events are lost if the process dies. An opted-out run accepts no events and has no journal.
void Startup::OpenJournal() {
  if (parts_.consent.AllowsReports()) {
    parts_.recovery.MakeRoom();
    parts_.journal.Open(GetStorageDirectory(parts_.config.storage),
                        JournalPrefix(parts_.config.productName, parts_.config.productVersion,
                                      parts_.config.deployment),
                        DescribeRun());
  }
}

RunBlock Startup::DescribeRun() const {
  RunBlock run;
  run.product = parts_.app.Product().Identity();
  run.libraryVersion = kLibraryVersion;
  run.endpointId = parts_.app.Machine().EndpointId();
  run.customerId = parts_.config.customerId;
  run.userId = parts_.config.userId;
  run.productContext = parts_.config.productContext;
  run.productComponentName = parts_.config.productComponentName;
  if (parts_.config.tags != nullptr) {
    run.tags = *parts_.config.tags;
  }
  run.sessionEnvironment = MakeSessionEnvironment(parts_.config.sessionEnvironment.get());
  run.breadcrumbLength = parts_.config.breadcrumbLength;
  return run;
}

void Startup::SetEndpoint() {
  parts_.app.Machine().ComputeEndpoint();
  parts_.builder.Header().SetEndpoint(parts_.app.Machine().EndpointId());
  parts_.journal.Update(DescribeRun());
}

}  // namespace Tav
