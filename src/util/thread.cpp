#include "util/thread.h"

#include <algorithm>

#include "util/logger.h"

namespace Tav {

namespace {

// The pause between two checks for work without an event.
constexpr int kPollMilliseconds = 100;

constinit std::atomic<int> runningThreads{0};

}  // namespace

Thread::Thread() {
  TAV_DEBUG_HERE("TH: ctor");
  for (const Platform::AutoResetEvent* event : {&work_, &ready_, &questionReady_}) {
    if (!event->Valid()) {
      LogError("$Failed to created event for thread");
    }
  }
}

Thread::~Thread() {
  TAV_DEBUG_HERE("TH: Inside thread destructor");
  const int32_t references = references_.load(std::memory_order_acquire);
  if (references != 0) {
    LogError("TH: Thread reference count should be zero, not %d. Pid: %d, CpuId: %d, Tid: %ld",
             references, TAV_WHERE);
  }
}

bool Thread::Run() {
  TAV_DEBUG_HERE("TH: Run. Creating thread");
  references_.fetch_add(1, std::memory_order_acq_rel);
  running_.store(true, std::memory_order_release);
  runningThreads.fetch_add(1, std::memory_order_relaxed);
  if (!native_.Start(&Thread::Entry, this)) {
    LogError("*Failed to create thread");
    references_.fetch_sub(1, std::memory_order_acq_rel);
    running_.store(false, std::memory_order_release);
    runningThreads.fetch_sub(1, std::memory_order_relaxed);
    return false;
  }
  TAV_DEBUG_HERE("TH: Run. Thread created");
  return true;
}

void Thread::Entry(void* argument) {
  auto* const thread = static_cast<Thread*>(argument);
  TAV_DEBUG_HERE("TH: Inside thread entry");
  try {
    thread->Main();
  } catch (...) {
    LogError("TH: Exception in thread caught");
  }
  thread->running_.store(false, std::memory_order_release);
  // A host whose request came just before the end must not wait for its answer.
  thread->ready_.Set();
  thread->questionReady_.Set();
  TAV_DEBUG_HERE("TH: Thread entry. No longer running");
  thread->Release();
  runningThreads.fetch_sub(1, std::memory_order_release);
}

bool Thread::AnyRunning() {
  return runningThreads.load(std::memory_order_acquire) != 0;
}

void Thread::Release() {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) <= 1) {
    delete this;
  }
}

void Thread::Wait(int milliseconds, WaitFor what) {
  switch (what) {
    case WaitFor::Work:
      WaitOrPoll(work_, milliseconds);
      break;
    case WaitFor::End:
      native_.Join(milliseconds);
      break;
  }
}

bool Thread::WaitReady(int milliseconds) {
  LogWaitReady(milliseconds);
  const Platform::WaitResult result = AwaitReady(milliseconds);
  LogReady(result);
  return result != Platform::WaitResult::ThreadEnded;
}

void Thread::LogWaitReady(int milliseconds) const {
  const int32_t delay = waitDelay_.load(std::memory_order_relaxed);
  if (delay > 0) {
    TAV_TRACE("TH: WaitReady with waitDelay %d ms. Sleeping... Pid: %d, CpuId: %d, Tid: %ld", delay,
              TAV_WHERE);
  }
  TAV_DEBUG_HERE("TH: WaitReady. Waiting for %ld ms", long{milliseconds});
}

Platform::WaitResult Thread::AwaitReady(int milliseconds, Ready kind) {
  const int32_t delay = waitDelay_.load(std::memory_order_relaxed);
  if (delay > 0) {
    Platform::SleepMilliseconds(delay);
  }
  return native_.WaitForEvent(EventOf(kind), milliseconds);
}

void Thread::LogReady(Platform::WaitResult result) {
  switch (result) {
    case Platform::WaitResult::Signalled:
      TAV_DEBUG("TH: WaitReady. Waiting done. Pid: %d, CpuId: %d, Tid: %ld, sts: %d", TAV_WHERE,
                static_cast<int>(result));
      break;
    case Platform::WaitResult::ThreadEnded:
      break;  // not logged: the thread may have been killed while it wrote a line
    case Platform::WaitResult::TimedOut:
      LogError("TH: WaitReady. ***ERROR*** timed out. Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
      break;
    case Platform::WaitResult::Failed:
      LogError("TH: WaitReady error: %d", static_cast<int>(result));
      break;
  }
}

void Thread::WakeReady(Ready kind) {
  TAV_DEBUG_HERE("TH: WakeReady. Setting event");
  EventOf(kind).Set();
  TAV_DEBUG_HERE("TH: WakeReady. Setting event done");
}

void Thread::Join(int milliseconds) {
  TAV_DEBUG_HERE("TH: Join. Waiting for %ld ms", long{milliseconds});
  native_.Join(milliseconds);
  TAV_DEBUG_HERE("TH: Join. Waiting done");
}

bool Thread::Ended() {
  return !native_.Valid() || native_.Join(0) == Platform::WaitResult::Signalled;
}

void WaitOrPoll(Platform::AutoResetEvent& event, int milliseconds) {
  if (event.Wait(milliseconds) == Platform::WaitResult::Failed) {
    Platform::SleepMilliseconds(milliseconds < 0 ? kPollMilliseconds
                                                 : std::min(milliseconds, kPollMilliseconds));
  }
}

}  // namespace Tav
