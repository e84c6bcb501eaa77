// One thread of the operating system.
#pragma once

#include "platform/sync.h"

namespace Tav::Platform {

// A handle to a thread. Closing it does not end the thread. While the thread runs, the module that
// holds this code stays mapped: the thread takes its own reference to the module and gives it back
// with its last instruction, so that a host may unload the library at any time.
class NativeThread {
 public:
  using Entry = void (*)(void* argument);

  NativeThread() = default;
  ~NativeThread();
  NativeThread(const NativeThread&) = delete;
  NativeThread& operator=(const NativeThread&) = delete;

  // Starts `entry(argument)` on a new thread with the default stack size. On failure returns false
  // and leaves the reason in errno. `entry` must not throw. Call at most once with success.
  bool Start(Entry entry, void* argument);

  // Waits for the thread's end for at most `milliseconds`; a negative number waits without limit.
  // May be asked again after any answer. Failed when no thread was started.
  WaitResult Join(int milliseconds);

  bool Valid() const { return impl_ != nullptr; }

 private:
  void* impl_ = nullptr;
};

}  // namespace Tav::Platform
