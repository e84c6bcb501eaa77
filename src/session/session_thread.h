// The body of the session thread, from start to end: all work after the queue.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "session/run_parts.h"

namespace Tav {

class SessionThread {
 public:
  // `config` is complete; `thread` and `queue` are borrowed from the session manager.
  SessionThread(LibraryConfig config, Thread& thread, WorkQueue& queue)
      : parts_(std::move(config), thread, queue) {}

  // Returns after it has handled the Term item and completed termination.
  void Run();

  // Any thread. In seconds.
  int TerminateTime() const { return parts_.terminateTime.load(std::memory_order_relaxed); }
  void SetFinalDeadline(int64_t monotonicMilliseconds) {
    parts_.delivery.Sender().SetDeadline(monotonicMilliseconds);
  }
  const DayStamps& Stamps() const { return parts_.stamps; }

  // For a host thread with a synchronous request: before queueing it and after the answer.
  RequestData& Requests() { return parts_.requests.Data(); }

 private:
  void ProcessData();
  void ProcessTurn(int minTimeout);  // seconds
  void SendOrFlush();

  RunParts parts_;
};

}  // namespace Tav
