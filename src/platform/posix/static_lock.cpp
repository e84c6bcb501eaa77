#include "platform/static_lock.h"

#include <pthread.h>

#include <new>

namespace Tav::Platform {

namespace {

static_assert(sizeof(pthread_mutex_t) <= 40);

// A default mutex's initial state is all zero bits on the systems this stand-in runs on.
pthread_mutex_t* Native(unsigned char* storage) {
  return std::launder(reinterpret_cast<pthread_mutex_t*>(storage));
}

}  // namespace

void StaticLock::lock() {
  pthread_mutex_lock(Native(storage_));
}

void StaticLock::unlock() {
  pthread_mutex_unlock(Native(storage_));
}

}  // namespace Tav::Platform
