#include "platform/thread.h"

#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <new>

namespace Tav::Platform {

namespace {

// A flag with waiters, timed on the monotonic clock.
class EventState {
 public:
  EventState();
  ~EventState();
  EventState(const EventState&) = delete;
  EventState& operator=(const EventState&) = delete;

  enum class Afterwards { Keep, Lower };

  // Another event whose waiters also wait for this one.
  struct Follower {
    EventState& event;
    Follower* next = nullptr;
  };

  // Sets the flag and wakes one waiter; wakes all waiters of the followers.
  void Raise();
  bool Raised() const { return raised_.load(std::memory_order_acquire); }
  // Waits until the flag is set; a negative time waits without limit. Ends with ThreadEnded when
  // `end` is raised, which this object must follow.
  WaitResult Wait(int milliseconds,
                  Afterwards afterwards,
                  const EventState* end = nullptr) noexcept;

  // Borrows `follower` until it is removed.
  void AddFollower(Follower& follower);
  void RemoveFollower(Follower& follower);

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t condition_;
  std::atomic<bool> raised_{false};  // changed with the mutex held
  Follower* followers_ = nullptr;    // guarded by the mutex
};

timespec DeadlineIn(int milliseconds) {
  timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += milliseconds / 1000;
  deadline.tv_nsec += (milliseconds % 1000) * 1000000L;
  if (deadline.tv_nsec >= 1000000000L) {
    deadline.tv_nsec -= 1000000000L;
    ++deadline.tv_sec;
  }
  return deadline;
}

EventState::EventState() {
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&condition_, &attributes);
  pthread_condattr_destroy(&attributes);
}

EventState::~EventState() {
  pthread_cond_destroy(&condition_);
  pthread_mutex_destroy(&mutex_);
}

void EventState::Raise() {
  pthread_mutex_lock(&mutex_);
  raised_.store(true, std::memory_order_release);
  pthread_cond_signal(&condition_);
  for (const Follower* follower = followers_; follower; follower = follower->next) {
    pthread_mutex_lock(&follower->event.mutex_);
    pthread_cond_broadcast(&follower->event.condition_);
    pthread_mutex_unlock(&follower->event.mutex_);
  }
  pthread_mutex_unlock(&mutex_);
}

void EventState::AddFollower(Follower& follower) {
  pthread_mutex_lock(&mutex_);
  follower.next = followers_;
  followers_ = &follower;
  pthread_mutex_unlock(&mutex_);
}

void EventState::RemoveFollower(Follower& follower) {
  pthread_mutex_lock(&mutex_);
  Follower** link = &followers_;
  while (*link != &follower) {
    link = &(*link)->next;
  }
  *link = follower.next;
  pthread_mutex_unlock(&mutex_);
}

WaitResult EventState::Wait(int milliseconds,
                            Afterwards afterwards,
                            const EventState* end) noexcept {
  const bool limited = milliseconds >= 0;
  const timespec deadline = DeadlineIn(limited ? milliseconds : 0);
  WaitResult result = WaitResult::Signalled;
  pthread_mutex_lock(&mutex_);
  while (!Raised() && result == WaitResult::Signalled) {
    if (end && end->Raised()) {
      result = WaitResult::ThreadEnded;
      break;
    }
    const int code = limited ? pthread_cond_timedwait(&condition_, &mutex_, &deadline)
                             : pthread_cond_wait(&condition_, &mutex_);
    if (code == ETIMEDOUT) {
      result = WaitResult::TimedOut;
    } else if (code != 0) {
      result = WaitResult::Failed;
    }
  }
  if (Raised()) {
    result = WaitResult::Signalled;
    raised_.store(afterwards == Afterwards::Keep, std::memory_order_release);
  }
  pthread_mutex_unlock(&mutex_);
  return result;
}

pthread_mutex_t* Mutex(unsigned char* storage) {
  return std::launder(reinterpret_cast<pthread_mutex_t*>(storage));
}

// Shared by the thread and its NativeThread object; the last owner deletes it.
struct ThreadState {
  ThreadState(NativeThread::Entry entryFunction, void* entryArgument)
      : entry(entryFunction), argument(entryArgument) {}

  const NativeThread::Entry entry;
  void* const argument;
  pthread_t thread{};
  EventState ended;
  std::atomic<int> references{2};

  void Release() noexcept {
    if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      delete this;
    }
  }
};

// Reports the end of the thread, also when pthread_exit ends it.
struct EndOfThread {
  ~EndOfThread() {
    state->ended.Raise();
    state->Release();
  }

  ThreadState* const state;
};

void* RunThread(void* parameter) {
  const EndOfThread end{static_cast<ThreadState*>(parameter)};
  end.state->entry(end.state->argument);
  return nullptr;
}

}  // namespace

Lock::Lock() {
  static_assert(sizeof(pthread_mutex_t) <= sizeof storage_);
  static_assert(alignof(pthread_mutex_t) <= alignof(Lock));
  pthread_mutex_init(new (storage_) pthread_mutex_t, nullptr);
}

Lock::~Lock() {
  pthread_mutex_destroy(Mutex(storage_));
}

void Lock::lock() noexcept {
  pthread_mutex_lock(Mutex(storage_));
}

void Lock::unlock() noexcept {
  pthread_mutex_unlock(Mutex(storage_));
}

// A default mutex is all zero bits on the systems that run native tests.
void StaticLock::lock() noexcept {
  static_assert(sizeof(pthread_mutex_t) <= sizeof storage_);
  pthread_mutex_lock(Mutex(storage_));
}

void StaticLock::unlock() noexcept {
  pthread_mutex_unlock(Mutex(storage_));
}

AutoResetEvent::AutoResetEvent() : impl_(new(std::nothrow) EventState) {}

AutoResetEvent::~AutoResetEvent() {
  delete static_cast<EventState*>(impl_);
}

bool AutoResetEvent::Set() noexcept {
  if (!impl_) {
    return false;
  }
  static_cast<EventState*>(impl_)->Raise();
  return true;
}

WaitResult AutoResetEvent::Wait(int milliseconds) noexcept {
  return impl_ ? static_cast<EventState*>(impl_)->Wait(milliseconds, EventState::Afterwards::Lower)
               : WaitResult::Failed;
}

NativeThread::~NativeThread() {
  if (!impl_) {
    return;
  }
  auto* const state = static_cast<ThreadState*>(impl_);
  if (state->ended.Raised()) {
    // Waits for the thread's last few instructions only.
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

WaitResult NativeThread::Join(int milliseconds) noexcept {
  return impl_ ? static_cast<ThreadState*>(impl_)->ended.Wait(milliseconds,
                                                              EventState::Afterwards::Keep)
               : WaitResult::Failed;
}

WaitResult NativeThread::WaitForEvent(AutoResetEvent& event, int milliseconds) noexcept {
  if (!impl_ || !event.impl_) {
    return event.Wait(milliseconds);
  }
  EventState& ended = static_cast<ThreadState*>(impl_)->ended;
  auto* const awaited = static_cast<EventState*>(event.impl_);
  EventState::Follower follower{*awaited};
  ended.AddFollower(follower);
  const WaitResult result = awaited->Wait(milliseconds, EventState::Afterwards::Lower, &ended);
  ended.RemoveFollower(follower);
  return result;
}

void SleepMilliseconds(int milliseconds) noexcept {
  if (milliseconds <= 0) {
    sched_yield();
    return;
  }
  timespec rest{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
  while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
  }
}

}  // namespace Tav::Platform
