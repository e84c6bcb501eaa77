// The host side: what runs on the hosts' threads.
#include "session/session_manager.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include "model/event_size.h"
#include "platform/clock.h"
#include "session/record_keys.h"
#include "session/session_id.h"
#include "util/hash.h"
#include "util/logger.h"
#include "util/time_stamp.h"

namespace Tav {

namespace {

constexpr int kCannotStartThread = 4;
constexpr int kMillisecondsPerSecond = 1000;
// Seconds of the terminate time in which nothing is sent any more: what is left goes to the disk.
constexpr int kTimeToStore = 1;

// A customer without a user id still has users that can be told from another customer's.
void CompleteUserId(LibraryConfig& config) {
  if (config.customerId.empty()) {
    config.userId.clear();
  } else if (config.userId.empty()) {
    config.userId = HashTextToHex(config.customerId);
    TAV_DEBUG("SM: Customer ID was provided without User ID. Generated default User ID: %s",
              config.userId.c_str());
  }
}

uint32_t SessionEnvironmentSize(const EnvMap* values) {
  size_t size = 0;
  if (values != nullptr) {
    for (const auto& [key, value] : *values) {
      size += value.type == EnvType::String ? StringPairSize(key, value.strData)
                                            : RealPairSize(key, value.numData);
    }
  }
  return static_cast<uint32_t>(size);
}

void TraceProductValues(const PendingProductValues* values) {
  if (values == nullptr) {
    return;
  }
  for (const auto& [key, pending] : *values) {
    TAV_TRACE("SM: ProdEnv: key: %s, type: %d, val(str): %s, val(num): %f", key.c_str(),
              static_cast<int>(pending.value.type), pending.value.strData.c_str(),
              pending.value.numData);
  }
}

}  // namespace

SessionManager::SessionManager(LibraryConfig config)
    : config_(std::move(config)),
      maxEventSize_(config_.maxEventSize < 1 ? EventSize::kDefaultMaximum : config_.maxEventSize),
      queue_(*this),
      product_(config_.productName, config_.productVersion, config_.productValues.get()),
      builder_(product_, changed_),
      settings_(product_.GetName(), product_.GetVersion(), product_.GetPlatform()),
      status_(product_, client_, endpoint_, settings_, changed_) {
  TAV_DEBUG("SM: ctor. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  CompleteUserId(config_);
  TraceProductValues(config_.productValues.get());
  config_.productValues.reset();

  RecordHeader header;
  header.customerId = config_.customerId;
  header.userId = config_.userId;
  header.productContext = config_.productContext;
  header.productComponentName = config_.productComponentName;
  header.optOut = config_.optOut;
  if (config_.tags != nullptr) {
    header.tags = std::move(*config_.tags);
  }
  builder_.SetHeader(std::move(header));
  builder_.SetClientEnvironment(&client_.GetClientEnv());
  builder_.SetSessionEnvironment(config_.sessionEnvironment.get());
  builder_.SetSavedListLength(config_.savedListLength);
}

SessionManager::~SessionManager() {
  TAV_DEBUG("SM: End. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

int SessionManager::Init() {
  EventSize::SetSessionEnvironment(SessionEnvironmentSize(config_.sessionEnvironment.get()));
  EventSize::SetMaximum(maxEventSize_);
  TAV_TRACE("SM: Setting maxEventSize to %d in JsonData", maxEventSize_);
  TAV_DEBUG("SM: Init. Start the thread. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  termItem_ = MakeWorkItem(ItemCode::Term);
  if (termItem_ == nullptr || !Run()) {
    return kCannotStartThread;
  }
  TAV_DEBUG("SM: Init. Adding Client. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  Queue(ItemCode::Client);
  return 0;
}

void SessionManager::Queue(ItemCode code) {
  queue_.AddItem(MakeWorkItem(code), Urgency::Now);
}

void SessionManager::Log(TavEvent_s* event) {
  if (event->discarded) {
    TAV_DEBUG("SM: Log(): event '%s' is discarded.", event->name.CString());
    FreeHandle(event);
    return;
  }
  if (!Running()) {  // nobody would ever take it from the queue
    FreeHandle(event);
    return;
  }
  event->magic = kHandleHandedOver;
  if (event->sessionId.Empty()) {
    JoinImpliedSession(*event);
  }
  if (config_.noImpliedRecords && !IsReportedEvent(event->kind)) {
    FreeHandle(event);
    return;
  }
  queue_.AddItem(MakeEventItem(event), Urgency::Soon);
}

void SessionManager::JoinImpliedSession(TavEvent_s& event) {
  if (!impliedOpen_.load(std::memory_order_acquire)) {
    OpenImpliedSession();
  }
  event.sessionId.Assign(impliedSessionId_, event.Memory());
}

void SessionManager::OpenImpliedSession() {
  const std::lock_guard guard(impliedLock_);
  if (impliedOpen_.load(std::memory_order_relaxed)) {
    return;
  }
  const SessionId id = NewSessionId();
  std::memcpy(impliedSessionId_, id.text, sizeof(id.text));
  if (!config_.noImpliedRecords) {
    TAV_DEBUG("SM: Implied start record. Session ID: %s", impliedSessionId_);
    if (TavEvent_s* const begin =
            CreateEvent(HandleKind::Marker, Key::kSessionBegin, impliedSessionId_)) {
      begin->magic = kHandleHandedOver;
      queue_.AddItem(MakeEventItem(begin), Urgency::Soon);
    }
  }
  impliedOpen_.store(true, std::memory_order_release);
}

void SessionManager::ChangeProductEnv(TavValue_s* value) {
  value->magic = kHandleHandedOver;
  queue_.AddItem(MakeProductItem(value), Urgency::Now);
}

// False when no answer will come, because the session thread has ended.
bool SessionManager::Ask(ItemCode code) {
  WorkItemPtr item = MakeWorkItem(code);
  if (item == nullptr || !Running()) {
    return false;
  }
  queue_.AddItem(std::move(item), Urgency::Now);
  return true;
}

void SessionManager::Await(bool asked) {
  if (asked) {
    WaitReady(-1);
  }
}

int SessionManager::Commit() {
  const std::lock_guard guard(requestLock_);
  TAV_DEBUG("SM: Commit. Adding Commit. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  reserved_ = 0;
  const bool asked = Ask(ItemCode::Commit);
  TAV_DEBUG("SM: Commit. Waiting. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  Await(asked);
  TAV_DEBUG("SM: Commit. Waiting done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  return asked ? commitResult_ : 1;
}

char* SessionManager::PullData() {
  const std::lock_guard guard(requestLock_);
  TAV_DEBUG("SM: PullData. Adding PullData. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  const bool asked = Ask(ItemCode::PullData);
  TAV_DEBUG("SM: PullData. Waiting. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  Await(asked);
  TAV_DEBUG("SM: PullData. Waiting done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  if (handOver_.empty()) {
    return nullptr;
  }
  auto* const block = static_cast<char*>(std::malloc(handOver_.size() + 1));
  if (block != nullptr) {
    std::memcpy(block, handOver_.c_str(), handOver_.size() + 1);
    handOver_.clear();
  }
  return block;
}

void SessionManager::PushData(std::string_view block) {
  const std::lock_guard guard(requestLock_);
  pushed_ = block;
  TAV_DEBUG("SM: PushData. Adding PushData. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  const bool asked = Ask(ItemCode::PushData);
  TAV_DEBUG("SM: PushData. Waiting. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  Await(asked);
  TAV_DEBUG("SM: PushData. Waiting done. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
}

std::string SessionManager::GetEndpointInstance() {
  const std::lock_guard guard(requestLock_);
  TAV_DEBUG("SM: GetEndpointInstance. Adding Sync. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  const bool asked = Ask(ItemCode::Sync);
  TAV_DEBUG("SM: GetEndpointInstance. Waiting...Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  Await(asked);
  TAV_DEBUG("SM: GetEndpointInstance. Waiting done. Endpoint: %s, Pid: %d, CpuId: %d, Tid: %ld",
            endpoint_.GetId().c_str(), TAV_WHERE);
  return endpoint_.GetId();
}

long SessionManager::GetLastServerAccessTime() {
  const std::lock_guard guard(requestLock_);
  TAV_DEBUG("SM: GetLastServerAccessTime. Adding Sync. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  const bool asked = Ask(ItemCode::Sync);
  TAV_DEBUG("SM: GetLastServerAccessTime. Waiting...Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  Await(asked);
  const auto day = static_cast<long>(status_.LastServerAccessTime());
  TAV_DEBUG(
      "SM: GetLastServerAccessTime. Waiting done. lastServerAccessTime: %ld, Pid: %d, CpuId: %d, "
      "Tid: %ld",
      day, TAV_WHERE);
  return day;
}

long SessionManager::GetLastActiveTime() {
  const std::lock_guard guard(requestLock_);
  TAV_DEBUG("SM: GetLastActiveTime. Adding Sync. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  const bool asked = Ask(ItemCode::Sync);
  TAV_DEBUG("SM: GetLastActiveTime. Waiting...Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
  Await(asked);
  const auto day = static_cast<long>(status_.LastActiveTime());
  TAV_DEBUG(
      "SM: GetLastActiveTime. Waiting done. lastActiveTime: %ld, Pid: %d, CpuId: %d, Tid: %ld", day,
      TAV_WHERE);
  return day;
}

void SessionManager::Suspend() {
  Queue(ItemCode::Suspend);
}

void SessionManager::Resume() {
  Queue(ItemCode::Resume);
}

void SessionManager::SuspendForTermination() {
  Queue(ItemCode::SuspendTerm);
}

void SessionManager::SetWaitDelay(int milliseconds) {
  waitDelay_.store(milliseconds, std::memory_order_relaxed);
  TAV_DEBUG("SM: waitDelay set to %d ms", milliseconds);
}

void SessionManager::Stop() {
  if (impliedOpen_.load(std::memory_order_acquire) && !config_.noImpliedRecords) {
    TAV_DEBUG("SM: Implied stop record. Session ID: %s", impliedSessionId_);
    if (TavEvent_s* const end =
            CreateEvent(HandleKind::Marker, Key::kSessionEnd, impliedSessionId_)) {
      end->magic = kHandleHandedOver;
      queue_.AddItem(MakeEventItem(end), Urgency::Soon);
    }
  }
  impliedOpen_.store(false, std::memory_order_release);
  const int terminateTime = terminateTime_.load(std::memory_order_relaxed);
  SetFinalDeadline(Platform::MonotonicMilliseconds() +
                   std::max(terminateTime - kTimeToStore, 0) * kMillisecondsPerSecond);
  queue_.AddItem(std::move(termItem_), Urgency::Now);
  Join(terminateTime * kMillisecondsPerSecond);
}

// A request that is on its way to a server that does not answer is given up at that moment, so that
// its record still goes to the cache.
void SessionManager::SetFinalDeadline(int64_t monotonicMilliseconds) {
  const std::lock_guard guard(senderLock_);
  finalDeadline_.store(monotonicMilliseconds, std::memory_order_release);
  if (sender_ != nullptr) {
    sender_->LimitTo(monotonicMilliseconds);
  }
}

}  // namespace Tav
