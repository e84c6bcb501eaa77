// The host's side of a synchronous request: puts it into the queue and waits for its answer.
#pragma once

#include <mutex>
#include <optional>
#include <utility>

#include "platform/thread.h"
#include "session/work_queue.h"
#include "util/thread.h"

namespace Tav {

// Any host thread. Hosts take turns: one waits for a question (Sync), one for any other request.
class RequestChannel {
 public:
  // None: memory ran out, or the session thread has ended. Killed: it may have held any lock, that
  // of the log file included, so the caller does nothing more.
  enum class Answer { Given, None, Killed };

  // Borrows the session thread and its queue.
  RequestChannel(Thread& thread, WorkQueue& queue) : thread_(thread), queue_(queue) {}

  // Queues a request and waits, without limit, until it is answered or the thread has ended.
  // `prepare` writes its arguments and `take` reads its answer. From the one to the other it is
  // this request's turn, and nothing is logged: the host's sink may wait for a thread that waits
  // for its turn. Without an answer `take` is called, too, unless the thread was killed. `caller`
  // is for the log.
  template <typename Prepare, typename Take>
  Answer Ask(ItemCode code, const char* caller, Prepare prepare, Take take) {
    if (thread_.Killed()) {
      return Answer::Killed;
    }
    WorkItemPtr item = MakeRequest(code, caller);
    std::optional<Platform::WaitResult> result;
    {
      const std::lock_guard turn(LockOf(code));
      if (item != nullptr && thread_.Running()) {
        prepare();
        result = QueueAndWait(std::move(item));
        if (*result == Platform::WaitResult::ThreadEnded && thread_.Killed()) {
          return Answer::Killed;
        }
      }
      take();
    }
    if (!result) {
      return Answer::None;
    }
    Thread::LogReady(*result);
    return Answer::Given;
  }

  // A request without arguments.
  template <typename Take>
  Answer Ask(ItemCode code, const char* caller, Take take) {
    return Ask(code, caller, [] {}, take);
  }

 private:
  WorkItemPtr MakeRequest(ItemCode code, const char* caller) const;
  Platform::Lock& LockOf(ItemCode code);
  Platform::WaitResult QueueAndWait(WorkItemPtr item);

  Thread& thread_;
  WorkQueue& queue_;
  // One synchronous request, and one question, at a time. Nothing is logged meanwhile.
  Platform::Lock requestLock_;
  Platform::Lock questionLock_;
};

}  // namespace Tav
