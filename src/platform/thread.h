// Threads, locks and events: each class wraps one system object.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Tav::Platform {

// A lock for short sections; not recursive. Works with std::lock_guard. A waiter spins briefly and
// then sleeps, because the holder may have lost its processor. The system's object is a member:
// taking a free lock touches no other memory and costs tens of nanoseconds.
class Lock {
 public:
  Lock();
  ~Lock();
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void lock() noexcept;
  void unlock() noexcept;

 private:
  // Large enough for every system's lock.
  alignas(void*) unsigned char storage_[48];
};

// The same for process-wide variables: zero-initialised by the loader and ready to use, so that the
// library needs no static constructors.
class StaticLock {
 public:
  constexpr StaticLock() = default;
  StaticLock(const StaticLock&) = delete;
  StaticLock& operator=(const StaticLock&) = delete;

  void lock() noexcept;
  void unlock() noexcept;

 private:
  alignas(8) unsigned char storage_[40] = {};
};

// Windows' numbers.
enum class WaitResult : uint32_t {
  Signalled = 0,
  ThreadEnded = 1,  // of WaitForEvent only
  TimedOut = 258,
  Failed = 0xFFFFFFFF
};

// An auto-reset event, initially not signalled: one Set releases one Wait. A Set without a waiter
// is kept for the next Wait; further ones are ignored until then. Any thread may call Set and Wait.
class AutoResetEvent {
 public:
  AutoResetEvent();
  ~AutoResetEvent();
  AutoResetEvent(const AutoResetEvent&) = delete;
  AutoResetEvent& operator=(const AutoResetEvent&) = delete;

  // False if the system could not create an event. Set and Wait fail then.
  bool Valid() const { return impl_ != nullptr; }
  bool Set() noexcept;
  // Zero does not block; a negative time waits without limit.
  WaitResult Wait(int milliseconds) noexcept;

 private:
  friend class NativeThread;

  void* impl_;
};

// A native thread. Destroying the object does not end the thread. The thread holds a reference to
// the module that contains this code until its last instruction, so the module stays mapped when a
// host unloads it.
class NativeThread {
 public:
  using Entry = void (*)(void* argument);

  NativeThread() = default;
  ~NativeThread();
  NativeThread(const NativeThread&) = delete;
  NativeThread& operator=(const NativeThread&) = delete;

  // Runs `entry(argument)` on a new thread with the default stack size. `entry` must not throw. On
  // failure the reason is in errno. May succeed once.
  bool Start(Entry entry, void* argument);

  // Waits for the end of the thread; a negative time waits without limit. May be called repeatedly.
  // Failed if no thread was started.
  WaitResult Join(int milliseconds) noexcept;

  // Waits for the event, or for the end of the thread by whatever means: then ThreadEnded, unless
  // the event is set. A negative time waits without limit. If no thread was started, waits for the
  // event only.
  WaitResult WaitForEvent(AutoResetEvent& event, int milliseconds) noexcept;

  bool Valid() const { return impl_ != nullptr; }

 private:
  void* impl_ = nullptr;
};

// Blocks the calling thread for at least that long. Zero or less only yields the processor.
void SleepMilliseconds(int milliseconds) noexcept;

}  // namespace Tav::Platform
