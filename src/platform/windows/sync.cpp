#include "platform/sync.h"

#include <windows.h>

#include <new>

#include "platform/error.h"

namespace Tav::Platform {

namespace {

// The heap's own locks spin this often: long enough for a section of a few hundred instructions,
// short enough for a holder that lost its processor.
constexpr DWORD kSpinCount = 4000;

CRITICAL_SECTION* Section(unsigned char* storage) {
  return std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage));
}

DWORD Limit(int milliseconds) {
  return milliseconds < 0 ? INFINITE : static_cast<DWORD>(milliseconds);
}

}  // namespace

Lock::Lock() {
  static_assert(sizeof(CRITICAL_SECTION) <= sizeof storage_);
  static_assert(alignof(CRITICAL_SECTION) <= alignof(Lock));
  InitializeCriticalSectionEx(new (storage_) CRITICAL_SECTION, kSpinCount,
                              CRITICAL_SECTION_NO_DEBUG_INFO);
}

Lock::~Lock() {
  DeleteCriticalSection(Section(storage_));
}

void Lock::lock() {
  EnterCriticalSection(Section(storage_));
}

void Lock::unlock() {
  LeaveCriticalSection(Section(storage_));
}

AutoResetEvent::AutoResetEvent() : impl_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

AutoResetEvent::~AutoResetEvent() {
  if (impl_) {
    const ErrorKeeper keeper;
    CloseHandle(impl_);
  }
}

bool AutoResetEvent::Set() {
  return impl_ && SetEvent(impl_) != FALSE;
}

WaitResult AutoResetEvent::Wait(int milliseconds) {
  if (!impl_) {
    return WaitResult::Failed;
  }
  return static_cast<WaitResult>(WaitForSingleObject(impl_, Limit(milliseconds)));
}

void SleepMilliseconds(int milliseconds) {
  Sleep(milliseconds > 0 ? static_cast<DWORD>(milliseconds) : 0);
}

}  // namespace Tav::Platform
