// A worker thread with a work signal, a lock for the derived class's queue, and a ready signal by
// which it answers hosts that wait. Base of the library's worker threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/thread.h"

namespace Tav {

// Counted by reference: the creator holds one, the running thread another, and whoever lets go last
// deletes the object. So a creator that has waited long enough may leave while the thread goes on.
class Thread {
 public:
  Thread();
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Starts the native thread. False, with a message, when it could not be started.
  bool Run();
  // Drops one reference.
  void Release();

  // Guards the derived class's work queue, for moments; nothing waits while holding it.
  void Lock() { lock_.lock(); }
  void Unlock() { lock_.unlock(); }

  // Sets the work event; false when the system refused.
  bool Signal() { return work_.Set(); }
  // Waits for the thread's end (`join`) or for the work event; negative: without limit.
  void Wait(int milliseconds, bool join);

  // On a host's thread, after it has queued a synchronous request: waits for the answer's signal.
  // Negative: without limit. The caller reads its answer from the derived object, whatever came.
  void WaitReady(int milliseconds);
  // On the session thread: releases one waiting host, or the next one that comes.
  void WakeReady();

  // Waits at most so many milliseconds for the thread's end (negative: without limit) without
  // telling whether it came.
  void Join(int milliseconds);

  // From Run until the thread's body has returned.
  bool Running() const { return running_.load(std::memory_order_acquire) != 0; }
  // Whether the native thread has ended, asked without waiting.
  bool Ended();
  // Whether any thread of this class, in the whole process, still runs or will yet let go of its
  // object. One that outlived the wait for its end counts, although nobody knows it any more.
  static bool AnyRunning();

 protected:
  virtual ~Thread();

  // The thread's body.
  virtual void Main() = 0;

  uint32_t reserved_ = 0;  // cleared by Commit, read by nobody
  // Milliseconds that a host sleeps before it starts to wait, to widen races under test.
  std::atomic<int32_t> waitDelay_{0};

 private:
  static void Entry(void* argument);

  Platform::NativeThread native_;
  Platform::AutoResetEvent work_;
  Platform::AutoResetEvent ready_;
  Platform::Lock lock_;
  std::atomic<int32_t> references_{1};
  std::atomic<int32_t> running_{0};
};

}  // namespace Tav
