// What the session thread does once the host has said that the library ends: sends what time allows
// and leaves the rest on the disk.
#include <algorithm>
#include <utility>

#include "platform/clock.h"
#include "session/data_block.h"
#include "session/session_manager.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

// Milliseconds.
constexpr int64_t kLongestWaitForSettings = 5000;
constexpr int64_t kLongestWaitForClient = 1000;

// No step that runs out of memory may keep the others from being taken.
template <typename Step>
void Attempt(Step step) {
  try {
    step();
  } catch (const std::bad_alloc&) {
    LogError("SM: Out of memory");
  }
}

}  // namespace

void SessionManager::ProcessTermination() {
  TAV_DEBUG("SM: Processing termination. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  Attempt([this] { TakeBackHandOver(); });
  Attempt([this] { FinishClientInfoAtTermination(); });
  Attempt([this] { ProcessEventList(true); });
  Attempt([this] { SendAtTermination(); });
  Attempt([this] { KeepUnsent(); });
  Attempt([this] { ApplyFetchedSettings(); });
  Attempt([this] {
    if (changed_.productEnvironment && !changed_.productDataPersisted) {
      TAV_DEBUG("SM: ProcessTermination: writing pending opt-out key to PS");
      status_.PersistPendingOptOut();
    }
  });
  Attempt([this] { status_.PersistLastActiveTime(CurrentTime()); });
}

// A pulled block that its host had no memory for is a record again.
void SessionManager::TakeBackHandOver() {
  if (handOver_.empty()) {
    return;
  }
  std::string reason;
  if (std::unique_ptr<BuiltRecord> record = FromDataBlock(handOver_, reason)) {
    records_.Append(std::move(record));
  } else {
    LogWarning("SM: A pulled record is lost (%s)", reason.c_str());
  }
  handOver_.clear();
}

int64_t SessionManager::TimeToFinalDeadline() const {
  return std::max<int64_t>(
      finalDeadline_.load(std::memory_order_acquire) - Platform::MonotonicMilliseconds(), 0);
}

// The machine is described once in several days: worth a moment, but not the time to send.
void SessionManager::FinishClientInfoAtTermination() {
  if (!client_.Pending()) {
    return;
  }
  FinishClientInfo(static_cast<int>(std::min(TimeToFinalDeadline() / 4, kLongestWaitForClient)));
  if (client_.Pending()) {
    client_.Abandon();
    OnClientInfo();
  }
}

void SessionManager::SendAtTermination() {
  if (schedule_.NeverSends()) {
    return;
  }
  if (!schedule_.PersistentInterval()) {
    TAV_DEBUG("SM: ProcessTermination: Sending data to server.");
    SendToServer();
    return;
  }
  using LongLong = long long;
  const int64_t now = CurrentTime();
  TAV_DEBUG("SM: ProcessTermination: persistent interval enabled. Now = %lld, waitTime = %lld",
            LongLong{now}, LongLong{schedule_.WaitTime()});
  if (schedule_.WaitTime() <= now) {
    TAV_DEBUG("SM: ProcessTermination: persistent interval is over. Sending data to server.");
    SendToServer();
  } else if (schedule_.CheckSendThreshold(Waiting())) {
    TAV_DEBUG("SM: ProcessTermination: send threshold has been reached. Sending data to server.");
    SendToServer();
  }
}

void SessionManager::KeepUnsent() {
  // What an opted-out product could not send is only its opt-out, which the storage remembers.
  if (records_.Empty() || config_.optOut) {
    return;
  }
  TAV_DEBUG("SM: ProcessTermination: writing records to cache");
  FlushToCache();
  if (!records_.Empty()) {
    LogWarning("SM: %d records (%d bytes) could be neither sent nor stored and are lost",
               static_cast<int>(records_.Count()), static_cast<int>(records_.Bytes()));
  }
}

// Settings that the server has sent meanwhile are for the next run.
void SessionManager::ApplyFetchedSettings() {
  if (loader_ == nullptr) {
    return;
  }
  loader_->Join(static_cast<int>(std::min(TimeToFinalDeadline(), kLongestWaitForSettings)));
  if (!loader_->Ended()) {
    TAV_DEBUG("SM: Config loader is not done");
    return;
  }
  if (loader_->Answer().empty()) {
    TAV_DEBUG("SM: No settings retrieved");
    return;
  }
  TAV_DEBUG("SM: Settings retrieved from server");
  EnvMap settings;
  std::vector<std::string> inhibitList;
  if (settings_.ParseSettings(settings, inhibitList, loader_->Answer()) &&
      settings_.IsChanged(settings, inhibitList)) {
    TAV_DEBUG("SM: Updating PS with new settings");
    status_.SaveSettings(settings, inhibitList);
  }
}

}  // namespace Tav
