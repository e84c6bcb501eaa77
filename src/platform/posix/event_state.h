// A flag that threads can wait for, on the monotonic clock.
#pragma once

#include <pthread.h>

#include "platform/sync.h"

namespace Tav::Platform {

class EventState {
 public:
  EventState();
  ~EventState();
  EventState(const EventState&) = delete;
  EventState& operator=(const EventState&) = delete;

  // Raises the flag and wakes one waiter.
  void Raise();
  bool Raised();
  // Waits until the flag is raised, at most `milliseconds`, without limit when negative; lowers it
  // again when `lower` is true.
  WaitResult Wait(int milliseconds, bool lower);

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t condition_;
  bool raised_ = false;
};

}  // namespace Tav::Platform
