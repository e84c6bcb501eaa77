#include "session/session_manager.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "model/handles.h"
#include "model/record_keys.h"
#include "platform/clock.h"
#include "session/encoded_event.h"
#include "session/host_config.h"
#include "session/session_thread.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr int kMillisecondsPerSecond = 1000;
// Seconds at the end of the terminate time, reserved for writing unsent records to disk.
constexpr int kTimeToStore = 1;

}  // namespace

SessionManager::SessionManager(LibraryConfig config)
    : noImpliedRecords_(config.noImpliedRecords),
      queue_(*this),
      impliedSession_(queue_, !noImpliedRecords_),
      requests_(*this, queue_) {
  TAV_DEBUG_HERE("SM: ctor");
  PrepareHostConfig(config);
  sessionThread_ = std::make_unique<SessionThread>(std::move(config), *this, queue_);
}

SessionManager::~SessionManager() {
  TAV_DEBUG_HERE("SM: End");
}

void SessionManager::Main() {
  sessionThread_->Run();
}

InitResult SessionManager::Init() {
  TAV_DEBUG_HERE("SM: Init. Start the thread");
  termItem_ = MakeWorkItem(ItemCode::Term);
  if (termItem_ == nullptr || !Run()) {
    return InitResult::NoThread;
  }
  TAV_DEBUG_HERE("SM: Init. Adding Client");
  Queue(ItemCode::Client);
  return InitResult::Started;
}

void SessionManager::Queue(ItemCode code) {
  queue_.AddItem(MakeWorkItem(code));
}

void SessionManager::Log(TavEvent_s* event) {
  if (event->discarded) {
    TAV_DEBUG("SM: Log(): event '%s' is discarded.", event->name.CString());
    FreeHandle(event);
    return;
  }
  if (!Running()) {  // nothing reads the queue any more
    FreeHandle(event);
    return;
  }
  event->magic = kHandleConsumed;
  if (event->sessionId.Empty()) {
    impliedSession_.Join(*event);
  }
  if (noImpliedRecords_ && !IsReportedEvent(event->kind)) {
    FreeHandle(event);
    return;
  }
  {
    const EncodedEvent encoded(*event);
    if (encoded.Bytes().empty()) {
      LogError("SM: Out of memory. Event '%s' is lost", event->name.CString());
    } else {
      queue_.AddEvent(encoded.Bytes());
    }
  }
  event->properties.Clear();
  FreeHandle(event);
}

void SessionManager::ChangeProductEnv(TavValue_s* value) {
  value->magic = kHandleConsumed;
  queue_.AddItem(MakeProductItem(value));
}

CommitResult SessionManager::Commit() {
  CommitResult result = CommitResult::NotSent;
  RequestData& requests = sessionThread_->Requests();
  const Answer answer = requests_.Ask(
      ItemCode::Commit, "Commit", [&] { requests.commit = CommitResult::NotSent; },
      [&] { result = requests.commit; });
  if (answer == Answer::Killed) {
    return CommitResult::NotSent;
  }
  TAV_DEBUG_HERE("SM: Commit. Waiting done");
  return answer == Answer::Given ? result : CommitResult::NotSent;
}

// Without memory for the copy, the block stays for the next caller.
char* SessionManager::PullData() {
  char* block = nullptr;
  const Answer answer = requests_.Ask(ItemCode::PullData, "PullData", [&] {
    std::string& pulled = sessionThread_->Requests().pulledBlock;
    block = pulled.empty() ? nullptr : static_cast<char*>(std::malloc(pulled.size() + 1));
    if (block != nullptr) {
      std::memcpy(block, pulled.c_str(), pulled.size() + 1);
      pulled.clear();
    }
  });
  if (answer == Answer::Killed) {
    return nullptr;
  }
  TAV_DEBUG_HERE("SM: PullData. Waiting done");
  return block;
}

void SessionManager::PushData(std::string_view block) {
  const Answer answer = requests_.Ask(
      ItemCode::PushData, "PushData", [&] { sessionThread_->Requests().pushedBlock = block; },
      [] {});
  if (answer == Answer::Killed) {
    return;
  }
  TAV_DEBUG_HERE("SM: PushData. Waiting done");
}

std::string SessionManager::GetEndpointInstance() {
  std::string id;
  if (requests_.Ask(ItemCode::Sync, "GetEndpointInstance",
                    [&] { id = sessionThread_->Requests().endpointId; }) == Answer::Killed) {
    return {};
  }
  TAV_DEBUG("SM: GetEndpointInstance. Waiting done. Endpoint: %s, Pid: %d, CpuId: %d, Tid: %ld",
            id.c_str(), TAV_WHERE);
  return id;
}

long SessionManager::GetLastServerAccessTime() {
  return AskDay("GetLastServerAccessTime", "lastServerAccessTime",
                &DayStamps::LastServerAccessTime);
}

long SessionManager::GetLastActiveTime() {
  return AskDay("GetLastActiveTime", "lastActiveTime", &DayStamps::LastActiveTime);
}

long SessionManager::AskDay(const char* caller, const char* name, DayStamp stamp) {
  long day = 0;
  if (requests_.Ask(ItemCode::Sync, caller, [&] {
        day = static_cast<long>((sessionThread_->Stamps().*stamp)());
      }) == Answer::Killed) {
    return -1;
  }
  TAV_DEBUG("SM: %s. Waiting done. %s: %ld, Pid: %d, CpuId: %d, Tid: %ld", caller, name, day,
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
  impliedSession_.End();
  const int terminateTime = sessionThread_->TerminateTime();
  sessionThread_->SetFinalDeadline(Platform::MonotonicMilliseconds() +
                                   std::max(terminateTime - kTimeToStore, 0) *
                                       kMillisecondsPerSecond);
  queue_.AddItem(std::move(termItem_));
  Join(terminateTime * kMillisecondsPerSecond);
}

}  // namespace Tav
