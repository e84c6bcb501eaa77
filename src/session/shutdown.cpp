#include "session/shutdown.h"

#include <algorithm>

#include "platform/clock.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

// Milliseconds.
constexpr int64_t kMaxWaitForSettings = 5000;
constexpr int64_t kMaxWaitForClient = 500;
constexpr int64_t kMaxLockWait = 2000;
// Short runs must also make progress with the journals of dead ones.
constexpr int kMaxRecovery = 300;

// Milliseconds for which it is worth waiting for a request that runs on another thread.
int64_t WaitWorthwhile(const ConfigLoader& loader) {
  return loader.LastProgress() + Uploader::kMaxIdleAtEnd - Platform::MonotonicMilliseconds();
}

// Runs one step of the termination. If it throws, the later steps still run.
template <typename Step>
void Attempt(Step step) {
  try {
    step();
  } catch (...) {
    LogException("SM: ");
  }
}

}  // namespace

void Shutdown::Run(ConfigLoader* loader) {
  TAV_DEBUG_HERE("SM: Processing termination");
  Attempt([this] { requests_.RestorePulled(); });
  Attempt([this] { FinishClientInfo(); });
  Attempt([this] { delivery_.ProcessEventList(true); });
  Attempt([this] {
    recovery_.Search();
    recovery_.SearchAgain();
  });
  Attempt([this] { recovery_.Run(kMaxRecovery); });
  Attempt([this] { finalDelivery_.SendAtTermination(); });
  Attempt([this] { delivery_.EndSend(); });
  Attempt([this] { finalDelivery_.CacheUnsent(); });
  finalDelivery_.ReportLost();
  Attempt([this] { delivery_.SettleDropped(); });
  if (loader != nullptr) {
    Attempt([this, loader] { ApplyFetchedSettings(*loader); });
  }
  Attempt([this] { app_.PersistPendingOptOut(); });
  StoreState();
}

void Shutdown::CacheEverything() {
  TAV_DEBUG_HERE("SM: Processing termination");
  Attempt([this] { delivery_.ProcessEventList(true); });
  Attempt([this] { finalDelivery_.CacheUnsent(); });
  finalDelivery_.ReportLost();
  Attempt([this] { delivery_.SettleDropped(); });
  StoreState();
}

int Shutdown::LockWait() const {
  return static_cast<int>(std::clamp<int64_t>(delivery_.Sender().TimeToDeadline(),
                                              StorageFile::kDefaultLockWait, kMaxLockWait));
}

// The description is collected once in several days, so a short wait is worthwhile. It must leave
// time for sending.
void Shutdown::FinishClientInfo() {
  if (!app_.Machine().ClientPending()) {
    return;
  }
  const int64_t limit = std::min(delivery_.Sender().TimeToDeadline() / 4, kMaxWaitForClient);
  app_.Machine().FinishClientInfo(static_cast<int>(limit));
  if (app_.Machine().ClientPending()) {
    app_.Machine().AbandonClientInfo();
  }
}

// Does not wait for a server that has been silent for too long.
void Shutdown::AwaitSettings(ConfigLoader& loader) {
  const int64_t end = Platform::MonotonicMilliseconds() +
                      std::min(delivery_.Sender().TimeToDeadline(), kMaxWaitForSettings);
  int64_t left = 0;
  do {
    left = std::min(end - Platform::MonotonicMilliseconds(), WaitWorthwhile(loader));
    loader.Join(static_cast<int>(std::max<int64_t>(left, 0)));
  } while (left > 0 && !loader.Ended());
}

// Settings that arrived during this run apply to the next one.
void Shutdown::ApplyFetchedSettings(ConfigLoader& loader) {
  AwaitSettings(loader);
  if (!loader.Ended()) {
    TAV_DEBUG("SM: Config loader is not done");
  } else if (loader.Answer().empty()) {
    TAV_DEBUG("SM: No settings retrieved");
  } else {
    TAV_DEBUG("SM: Settings retrieved from server");
    app_.StoreFetchedSettings(loader.Answer(), delivery_.Sender().GatewayUrl(), LockWait());
  }
}

void Shutdown::StoreState() {
  Attempt([this] { stamps_.PersistLastActiveTime(CurrentTime()); });
  Attempt([this] { stamps_.StoreUnsaved(LockWait()); });
  Attempt([this] { app_.StoreUnsaved(LockWait()); });
  if (stamps_.Unsaved() || app_.Unsaved()) {
    LogWarning("SM: A storage file is locked. Some state of this run is not stored");
  }
}

}  // namespace Tav
