#include "session/request_channel.h"

#include "util/logger.h"

namespace Tav {

namespace {

bool IsQuestion(ItemCode code) {
  return code == ItemCode::Sync;
}

}  // namespace

// Null when memory runs out.
WorkItemPtr RequestChannel::MakeRequest(ItemCode code, const char* caller) const {
  TAV_DEBUG_HERE("SM: %s. Adding %s", caller, IsQuestion(code) ? "Sync" : caller);
  WorkItemPtr item = MakeWorkItem(code);
  TAV_DEBUG("SM: %s. Waiting%sPid: %d, CpuId: %d, Tid: %ld", caller,
            IsQuestion(code) ? "..." : ". ", TAV_WHERE);
  if (item != nullptr) {
    thread_.LogWaitReady(-1);
  }
  return item;
}

Platform::Lock& RequestChannel::LockOf(ItemCode code) {
  return IsQuestion(code) ? questionLock_ : requestLock_;
}

Platform::WaitResult RequestChannel::QueueAndWait(WorkItemPtr item) {
  const Thread::Ready kind =
      IsQuestion(item->code) ? Thread::Ready::Question : Thread::Ready::Request;
  queue_.AddItem(std::move(item));
  return thread_.AwaitReady(-1, kind);
}

}  // namespace Tav
