// Locks and events: one object each over the system's primitive, nothing more.
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

}  // namespace Tav::Platform
