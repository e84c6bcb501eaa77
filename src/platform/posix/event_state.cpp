#include "platform/posix/event_state.h"

#include <time.h>

#include <cerrno>

namespace Tav::Platform {

namespace {

timespec DeadlineIn(int milliseconds) {
  timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += milliseconds / 1000;
  deadline.tv_nsec += (milliseconds % 1000) * 1000000L;
  if (deadline.tv_nsec >= 1000000000L) {
    deadline.tv_nsec -= 1000000000L;
    ++deadline.tv_sec;
  }
  return deadline;
}

}  // namespace

EventState::EventState() {
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&condition_, &attributes);
  pthread_condattr_destroy(&attributes);
}

EventState::~EventState() {
  pthread_cond_destroy(&condition_);
  pthread_mutex_destroy(&mutex_);
}

void EventState::Raise() {
  pthread_mutex_lock(&mutex_);
  raised_ = true;
  pthread_cond_signal(&condition_);
  pthread_mutex_unlock(&mutex_);
}

bool EventState::Raised() {
  pthread_mutex_lock(&mutex_);
  const bool raised = raised_;
  pthread_mutex_unlock(&mutex_);
  return raised;
}

WaitResult EventState::Wait(int milliseconds, bool lower) {
  const bool limited = milliseconds >= 0;
  const timespec deadline = DeadlineIn(limited ? milliseconds : 0);
  WaitResult result = WaitResult::Signalled;
  pthread_mutex_lock(&mutex_);
  while (!raised_ && result == WaitResult::Signalled) {
    const int code = limited ? pthread_cond_timedwait(&condition_, &mutex_, &deadline)
                             : pthread_cond_wait(&condition_, &mutex_);
    if (code == ETIMEDOUT) {
      result = WaitResult::TimedOut;
    } else if (code != 0) {
      result = WaitResult::Failed;
    }
  }
  if (raised_) {
    result = WaitResult::Signalled;
    raised_ = !lower;
  }
  pthread_mutex_unlock(&mutex_);
  return result;
}

}  // namespace Tav::Platform
