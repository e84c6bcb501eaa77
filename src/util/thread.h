// The base class of the library's worker threads: a native thread with a work signal, a lock for
// the derived class's queue, and ready signals that answer host threads.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/thread.h"

namespace Tav {

// Counted by reference: the creator holds one reference, the running thread another, and the last
// Release deletes the object. A creator whose wait times out can therefore detach.
class Thread {
 public:
  // What Wait waits for.
  enum class WaitFor { Work, End };
  // Synchronous requests that may be answered independently of each other: each kind has a ready
  // event of its own, for which one host waits at a time.
  enum class Ready { Request, Question };

  Thread();
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Starts the native thread. On failure logs the reason.
  bool Run();
  // Drops one reference.
  void Release();

  // Guards the derived class's work queue, for short sections only. Never held during a wait.
  void Lock() { lock_.lock(); }
  void Unlock() { lock_.unlock(); }
  Platform::Lock& QueueLock() { return lock_; }

  // Sets the work event; false if the system refuses.
  bool Signal() { return work_.Set(); }
  // Waits for the work event or for the end of the thread. A negative time waits without limit.
  void Wait(int milliseconds, WaitFor what);

  // Called by a host's thread that has queued a synchronous request: waits for the ready event, a
  // negative time without limit. The caller then reads the answer from the derived object. False
  // if the thread has ended without setting the event: there is no answer.
  bool WaitReady(int milliseconds);
  // The steps of WaitReady. A caller that takes turns with other threads does so for the second
  // one, which logs nothing.
  void LogWaitReady(int milliseconds) const;
  Platform::WaitResult AwaitReady(int milliseconds, Ready kind = Ready::Request);
  static void LogReady(Platform::WaitResult result);
  // Called by this thread: releases one waiting host thread, or the next one that waits.
  void WakeReady(Ready kind = Ready::Request);

  // Waits for the end of the thread, a negative time without limit. Does not tell whether it ended.
  void Join(int milliseconds);

  // True from Run until the thread's body has returned.
  bool Running() const { return running_.load(std::memory_order_acquire); }
  // True if the native thread has ended or was never started.
  bool Ended();
  // True if the native thread has ended in the middle of its body, which only its end from outside
  // can do. It may have held any lock.
  bool Killed() { return native_.Valid() && Ended() && Running(); }
  // True while any thread of this class in the process runs or holds its reference, detached ones
  // included.
  static bool AnyRunning();

 protected:
  virtual ~Thread();

  // The thread's body.
  virtual void Main() = 0;

  // Milliseconds that WaitReady sleeps before it waits, to widen races in tests.
  std::atomic<int32_t> waitDelay_{0};

 private:
  static void Entry(void* argument);
  Platform::AutoResetEvent& EventOf(Ready kind) {
    return kind == Ready::Question ? questionReady_ : ready_;
  }

  Platform::NativeThread native_;
  Platform::AutoResetEvent work_;
  Platform::AutoResetEvent ready_;
  Platform::AutoResetEvent questionReady_;
  Platform::Lock lock_;
  std::atomic<int32_t> references_{1};
  std::atomic<bool> running_{false};
};

// Waits for the event. If the system could not create it, sleeps for at most a tenth of a second
// instead, so that the caller's loop polls. A negative time waits without limit.
void WaitOrPoll(Platform::AutoResetEvent& event, int milliseconds);

}  // namespace Tav
