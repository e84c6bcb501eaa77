#include "transport/threaded_data_sender.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>

#include "platform/clock.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Milliseconds. Closing handles takes no network; the system may still be slow about it.
constexpr int kLongestClose = 3000;
// For a thread that has done everything to be gone from the system's list of threads.
constexpr int kLongestEnd = 1000;

void LogOutOfMemory() {
  LogError("Out of memory in data sender");
}

}  // namespace

ThreadedDataSender::ThreadedDataSender(Factory makeSender, int longestCall)
    : makeSender_(std::move(makeSender)), longestCall_(longestCall) {}

ThreadedDataSender::~ThreadedDataSender() {
  ThreadedDataSender::Close();
}

void ThreadedDataSender::LimitTo(int64_t deadline) {
  deadline_.store(deadline, std::memory_order_relaxed);
  // A call that starts after this finds the new deadline; one that runs is told.
  const std::lock_guard guard(lock_);
  if (thread_) {
    thread_->Interrupt();
  }
}

int32_t ThreadedDataSender::Open() {
  return Perform({SenderThread::Operation::Open}).status;
}

int32_t ThreadedDataSender::Send(const void* body, size_t length, bool closeConnection) try {
  SenderThread::Call call{SenderThread::Operation::Send};
  call.closeConnection = closeConnection;
  // A call given up goes on reading its body after the caller has freed this one.
  const auto* const bytes = static_cast<const uint8_t*>(body);
  call.body.assign(bytes, bytes + length);
  return Perform(std::move(call)).status;
} catch (const std::bad_alloc&) {
  LogOutOfMemory();
  return 1;
}

std::string ThreadedDataSender::Fetch() {
  const bool opened = thread_ != nullptr;
  std::string text = Perform({SenderThread::Operation::Fetch}).text;
  if (!opened) {
    Close();
  }
  return text;
}

void ThreadedDataSender::Close() {
  if (!thread_) {
    return;
  }
  thread_->Begin({SenderThread::Operation::Close});
  if (Await(Platform::MonotonicMilliseconds() + kLongestClose)) {
    sender_ = thread_->TakeSender();
    // So that no thread of the library is left when the library has ended.
    thread_->Wait(TimeLeft(Platform::MonotonicMilliseconds() + kLongestEnd), true);
  }
  Detach();
}

SenderThread::Answer ThreadedDataSender::Perform(SenderThread::Call call) {
  const int64_t end = Platform::MonotonicMilliseconds() + longestCall_;
  call.timeLimit = TimeLeft(end);
  if (call.timeLimit == 0) {
    TAV_DEBUG("Data sender has no time left");
    return {};
  }
  if (!thread_ && (call.operation == SenderThread::Operation::Send || !StartThread())) {
    return {};
  }
  thread_->Begin(std::move(call));
  if (!Await(end)) {
    Detach();
    return {};
  }
  return thread_->TakeAnswer();
}

bool ThreadedDataSender::StartThread() try {
  if (!sender_) {
    sender_ = makeSender_();
  }
  SenderThreadPtr thread(new SenderThread(std::move(sender_)));
  if (!thread->Run()) {
    sender_ = thread->TakeSender();
    return false;
  }
  const std::lock_guard guard(lock_);
  thread_ = std::move(thread);
  return true;
} catch (const std::bad_alloc&) {
  LogOutOfMemory();
  return false;
}

// False when the thread has been abandoned: its answer did not come before `end` and the deadline.
bool ThreadedDataSender::Await(int64_t end) {
  while (!thread_->Answered()) {
    const int left = TimeLeft(end);
    if (left > 0) {
      thread_->WaitForAnswer(left);
    } else if (thread_->Abandon()) {
      LogWarning("Data sender did not answer in time. Giving it up");
      return false;
    }
  }
  return true;
}

void ThreadedDataSender::Detach() {
  SenderThreadPtr gone;  // outlives the lock: letting go may destroy the thread
  const std::lock_guard guard(lock_);
  gone.swap(thread_);
}

// Milliseconds until `end` or the deadline, whichever comes first; 0 once it has come.
int ThreadedDataSender::TimeLeft(int64_t end) const {
  const int64_t last = std::min(end, deadline_.load(std::memory_order_relaxed));
  const int64_t now = Platform::MonotonicMilliseconds();
  return last > now ? static_cast<int>(last - now) : 0;
}

}  // namespace Tav
