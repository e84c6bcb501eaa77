#include "platform/native_thread.h"

#include <windows.h>

#include <cerrno>
#include <new>

#include "platform/error.h"

namespace Tav::Platform {

namespace {

struct StartBlock {
  NativeThread::Entry entry;
  void* argument;
  HMODULE module;
};

// A reference to the module that holds this code, the library or a program it is linked into.
HMODULE ReferenceOwnModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<LPCWSTR>(&ReferenceOwnModule), &module);
  return module;
}

// The thread gives its reference to the module back with its last step: after that no instruction
// of this module may run on it, not even a return.
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

NativeThread::~NativeThread() {
  if (impl_) {
    const ErrorKeeper keeper;
    CloseHandle(impl_);
  }
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
  // Not the C run-time's _beginthreadex: some of its versions count a module reference of their own
  // that only their own way out of the thread gives back.
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

WaitResult NativeThread::Join(int milliseconds) {
  if (!impl_) {
    return WaitResult::Failed;
  }
  const DWORD limit = milliseconds < 0 ? INFINITE : static_cast<DWORD>(milliseconds);
  return static_cast<WaitResult>(WaitForSingleObject(impl_, limit));
}

}  // namespace Tav::Platform
