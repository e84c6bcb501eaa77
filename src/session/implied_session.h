// The session of events that carry no session id. The first such event opens it.
#pragma once

#include <atomic>

#include "model/handles.h"
#include "platform/thread.h"
#include "session/work_queue.h"

namespace Tav {

// Any thread, but End must not run at the same time as Join.
class ImpliedSession {
 public:
  // With `reported`, markers report the begin and the end of the session.
  ImpliedSession(WorkQueue& queue, bool reported) : queue_(queue), reported_(reported) {}

  // Sets the event's session id; opens the session if necessary.
  void Join(TavEvent_s& event);
  // Ends the session if it is open.
  void End();

 private:
  void Open();

  WorkQueue& queue_;
  const bool reported_;
  Platform::Lock lock_;            // held to open the session; nothing is logged meanwhile
  std::atomic<bool> open_{false};  // the id below is complete and does not change
  char id_[40] = {};
};

}  // namespace Tav
