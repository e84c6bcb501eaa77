#include "platform/native_thread.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "platform/posix/event_state.h"

namespace Tav::Platform {

namespace {

// Shared by the thread and its handle; the last of the two deletes it.
struct ThreadState {
  ThreadState(NativeThread::Entry entryFunction, void* entryArgument)
      : entry(entryFunction), argument(entryArgument) {}

  const NativeThread::Entry entry;
  void* const argument;
  pthread_t thread{};
  EventState ended;
  std::atomic<int> references{2};

  void Release() {
    if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      delete this;
    }
  }
};

void* RunThread(void* parameter) {
  auto* const state = static_cast<ThreadState*>(parameter);
  state->entry(state->argument);
  state->ended.Raise();
  state->Release();
  return nullptr;
}

}  // namespace

NativeThread::~NativeThread() {
  if (!impl_) {
    return;
  }
  auto* const state = static_cast<ThreadState*>(impl_);
  if (state->ended.Raised()) {
    // Only its last few instructions are left to wait for.
    pthread_join(state->thread, nullptr);
  } else {
    pthread_detach(state->thread);
  }
  state->Release();
}

bool NativeThread::Start(Entry entry, void* argument) {
  if (impl_) {
    errno = EINVAL;
    return false;
  }
  auto* const state = new (std::nothrow) ThreadState(entry, argument);
  if (!state) {
    errno = ENOMEM;
    return false;
  }
  const int code = pthread_create(&state->thread, nullptr, RunThread, state);
  if (code != 0) {
    delete state;
    errno = code;
    return false;
  }
  impl_ = state;
  return true;
}

WaitResult NativeThread::Join(int milliseconds) {
  return impl_ ? static_cast<ThreadState*>(impl_)->ended.Wait(milliseconds, false)
               : WaitResult::Failed;
}

}  // namespace Tav::Platform
