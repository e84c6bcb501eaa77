#include "platform/static_lock.h"

#include <windows.h>

#include <new>

namespace Tav::Platform {

namespace {

static_assert(sizeof(SRWLOCK) <= 40);

// An SRWLOCK's initial state is all zero bits.
SRWLOCK* Native(unsigned char* storage) {
  return std::launder(reinterpret_cast<SRWLOCK*>(storage));
}

}  // namespace

void StaticLock::lock() {
  AcquireSRWLockExclusive(Native(storage_));
}

void StaticLock::unlock() {
  ReleaseSRWLockExclusive(Native(storage_));
}

}  // namespace Tav::Platform
