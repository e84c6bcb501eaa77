// Threads and what they wait on: locks, events, native threads, thread-local slots. Each is one
// object over the system's primitive.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Tav::Platform {

// A lock for short sections. Not recursive by contract. Satisfies BasicLockable, so that
// std::lock_guard works with it. A waiter spins only briefly before it sleeps, so that a holder
// that lost its processor is not spun on for ever. The system's object lies inside this one:
// taking a free lock touches no other memory and costs tens of nanoseconds.
class Lock {
 public:
  Lock();
  ~Lock();
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void lock();
  void unlock();

 private:
  // Room for the largest of the systems' lock objects.
  alignas(void*) unsigned char storage_[48];
};

enum class WaitResult : uint32_t { Signalled = 0, TimedOut = 258, Failed = 0xFFFFFFFF };

// An unnamed auto-reset event, initially not signalled: one Set releases exactly one Wait, and a
// Set that nobody waits for is kept until the next Wait; several Sets in a row count as one. Any
// thread may call Set and Wait.
class AutoResetEvent {
 public:
  AutoResetEvent();
  ~AutoResetEvent();
  AutoResetEvent(const AutoResetEvent&) = delete;
  AutoResetEvent& operator=(const AutoResetEvent&) = delete;

  // False when the system had no event to give; then Set and Wait fail.
  bool Valid() const { return impl_ != nullptr; }
  bool Set();
  // Blocks for at most `milliseconds`, zero only looks. A negative number of milliseconds waits
  // without limit.
  WaitResult Wait(int milliseconds);

 private:
  void* impl_;
};

// Blocks the calling thread for at least that long; zero or less only gives up the processor.
void SleepMilliseconds(int milliseconds);

// A lock for process-wide variables. Zero-initialised by the loader and usable at once, so that no
// static object of the library has a construction order. Not recursive. Satisfies BasicLockable.
class StaticLock {
 public:
  constexpr StaticLock() = default;
  StaticLock(const StaticLock&) = delete;
  StaticLock& operator=(const StaticLock&) = delete;

  void lock();
  void unlock();

 private:
  alignas(8) unsigned char storage_[40] = {};
};

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

// A slot of the system's thread-local storage; every thread reads null until it sets a value.
// `thread_local` is not used: under MinGW it goes through an emulation that allocates on each
// thread's first access. Get keeps the calling thread's last error.
class TlsSlot {
 public:
  // Reserves the slot. False when the system has none left; then Get returns null.
  bool Acquire();
  // Gives the slot back. No other thread may be inside Get or Set.
  void Release();
  bool Valid() const { return valid_; }

  void* Get() const;
  void Set(void* value) const;

 private:
  unsigned long index_ = 0;
  bool valid_ = false;
};

}  // namespace Tav::Platform
