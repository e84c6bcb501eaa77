#include "platform/thread.h"

#include <windows.h>

#include <cerrno>
#include <new>

#include "platform/error.h"

namespace Tav::Platform {

namespace {

// The heap's locks spin as often: enough for a section of a few hundred instructions, little enough
// if the holder has lost its processor.
constexpr DWORD kSpinCount = 4000;

CRITICAL_SECTION* Section(unsigned char* storage) {
  return std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage));
}

// SRWLOCK_INIT is all zero bits.
SRWLOCK* SlimLock(unsigned char* storage) {
  return std::launder(reinterpret_cast<SRWLOCK*>(storage));
}

DWORD Limit(int milliseconds) {
  return milliseconds < 0 ? INFINITE : static_cast<DWORD>(milliseconds);
}

WaitResult WaitForHandle(HANDLE handle, int milliseconds) {
  return handle ? static_cast<WaitResult>(WaitForSingleObject(handle, Limit(milliseconds)))
                : WaitResult::Failed;
}

void CloseKeepingErrors(HANDLE handle) {
  if (handle) {
    const ErrorKeeper keeper;
    CloseHandle(handle);
  }
}

struct StartBlock {
  NativeThread::Entry entry;
  void* argument;
  HMODULE module;
};

// Takes a reference to the module that contains this code: the library or a test program.
HMODULE ReferenceOwnModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&ReferenceOwnModule), &module);
  return module;
}

// Releasing the module is the thread's last step: no instruction of the module may run after it,
// not even a return.
DWORD WINAPI RunThread(void* parameter) {
  const StartBlock start = *static_cast<StartBlock*>(parameter);
  delete static_cast<StartBlock*>(parameter);
  start.entry(start.argument);
  FreeLibraryAndExitThread(start.module, 0);
}

int ErrnoOf(DWORD lastError) {
  switch (lastError) {
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
      return ENOMEM;
    case ERROR_ACCESS_DENIED:
      return EACCES;
    case ERROR_INVALID_PARAMETER:
    case ERROR_MOD_NOT_FOUND:
      return EINVAL;
    default:
      return EAGAIN;
  }
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

void Lock::lock() noexcept {
  EnterCriticalSection(Section(storage_));
}

void Lock::unlock() noexcept {
  LeaveCriticalSection(Section(storage_));
}

void StaticLock::lock() noexcept {
  static_assert(sizeof(SRWLOCK) <= sizeof storage_);
  AcquireSRWLockExclusive(SlimLock(storage_));
}

void StaticLock::unlock() noexcept {
  ReleaseSRWLockExclusive(SlimLock(storage_));
}

AutoResetEvent::AutoResetEvent() : impl_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}

AutoResetEvent::~AutoResetEvent() {
  CloseKeepingErrors(impl_);
}

bool AutoResetEvent::Set() noexcept {
  return impl_ && SetEvent(impl_) != FALSE;
}

WaitResult AutoResetEvent::Wait(int milliseconds) noexcept {
  return WaitForHandle(impl_, milliseconds);
}

NativeThread::~NativeThread() {
  CloseKeepingErrors(impl_);
}

bool NativeThread::Start(Entry entry, void* argument) {
  if (impl_) {
    errno = EINVAL;
    return false;
  }
  auto* start = new (std::nothrow) StartBlock{entry, argument, nullptr};
  if (!start) {
    errno = ENOMEM;
    return false;
  }
  start->module = ReferenceOwnModule();
  // Not the C run-time's _beginthreadex: some versions take a module reference of their own, which
  // only their own thread exit releases.
  impl_ = start->module ? CreateThread(nullptr, 0, RunThread, start, 0, nullptr) : nullptr;
  if (!impl_) {
    const DWORD reason = ::GetLastError();
    if (start->module) {
      FreeLibrary(start->module);
    }
    delete start;
    ::SetLastError(reason);
    errno = ErrnoOf(reason);
    return false;
  }
  return true;
}

WaitResult NativeThread::Join(int milliseconds) noexcept {
  return WaitForHandle(impl_, milliseconds);
}

WaitResult NativeThread::WaitForEvent(AutoResetEvent& event, int milliseconds) noexcept {
  if (!impl_ || !event.impl_) {
    return WaitForHandle(event.impl_, milliseconds);
  }
  // Of two signalled objects the first is reported.
  const HANDLE handles[] = {event.impl_, impl_};
  return static_cast<WaitResult>(WaitForMultipleObjects(2, handles, FALSE, Limit(milliseconds)));
}

void SleepMilliseconds(int milliseconds) noexcept {
  Sleep(milliseconds > 0 ? static_cast<DWORD>(milliseconds) : 0);
}

}  // namespace Tav::Platform
