// Handles the synchronous requests of host threads and answers them.
#pragma once

#include <string>

#include "session/delivery.h"
#include "session/recovery.h"
#include "session/request_data.h"
#include "session/work_queue.h"
#include "util/thread.h"

namespace Tav {

// Session thread only, except Data(). Each request is answered once, because a host waits for it.
// If its handling throws, the caller answers it with AnswerFailed.
class RequestHandler {
 public:
  // Borrows all of them; `thread` signals the answers that host threads wait for.
  RequestHandler(Thread& thread, Delivery& delivery, Recovery& recovery)
      : thread_(thread), delivery_(delivery), recovery_(recovery) {}

  // Begins to send what this run and dead runs have left: one slice. It is answered after the last
  // slice.
  void Commit();
  // Whether a host waits in Commit for records that are still being sent.
  bool CommitPending() const { return commitPending_; }
  // Sends one slice for that host, and answers it when that was the last one.
  void ContinueCommit();
  // At the end of the run: answers such a host.
  void AnswerUnfinished();

  // Moves the oldest record from the store to the answer.
  void PullData();
  // Returns a pulled record to the store if no host has taken it.
  void RestorePulled();
  // Takes a record back into the store.
  void PushData();

  // Answers a Sync. `endpointId` may be empty.
  void AnswerQuestion(const std::string& endpointId);
  // Answers a Commit or PullData without sending or building anything.
  void AnswerAtOnce();
  // Answers a request whose handling has thrown; does nothing for other items.
  void AnswerFailed(ItemCode code);

  // A host thread uses it before it queues its request and after the answer.
  RequestData& Data() { return data_; }

 private:
  void SendForCommit();

  Thread& thread_;
  Delivery& delivery_;
  Recovery& recovery_;
  RequestData data_;
  bool commitPending_ = false;
};

}  // namespace Tav
