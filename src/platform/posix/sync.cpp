#include "platform/sync.h"

#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <cerrno>
#include <new>

#include "platform/posix/event_state.h"

namespace Tav::Platform {

namespace {

pthread_mutex_t* Mutex(unsigned char* storage) {
  return std::launder(reinterpret_cast<pthread_mutex_t*>(storage));
}

}  // namespace

Lock::Lock() {
  static_assert(sizeof(pthread_mutex_t) <= sizeof storage_);
  static_assert(alignof(pthread_mutex_t) <= alignof(Lock));
  pthread_mutex_init(new (storage_) pthread_mutex_t, nullptr);
}

Lock::~Lock() {
  pthread_mutex_destroy(Mutex(storage_));
}

void Lock::lock() {
  pthread_mutex_lock(Mutex(storage_));
}

void Lock::unlock() {
  pthread_mutex_unlock(Mutex(storage_));
}

AutoResetEvent::AutoResetEvent() : impl_(new(std::nothrow) EventState) {}

AutoResetEvent::~AutoResetEvent() {
  delete static_cast<EventState*>(impl_);
}

bool AutoResetEvent::Set() {
  if (!impl_) {
    return false;
  }
  static_cast<EventState*>(impl_)->Raise();
  return true;
}

WaitResult AutoResetEvent::Wait(int milliseconds) {
  return impl_ ? static_cast<EventState*>(impl_)->Wait(milliseconds, true) : WaitResult::Failed;
}

void SleepMilliseconds(int milliseconds) {
  if (milliseconds <= 0) {
    sched_yield();
    return;
  }
  timespec rest{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
  while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
  }
}

}  // namespace Tav::Platform
