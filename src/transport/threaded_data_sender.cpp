#include "transport/threaded_data_sender.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/clock.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Milliseconds until the system has ended a thread that has nothing left to do.
constexpr int kMaxThreadEnd = 1000;
constexpr int kMeanwhileInterval = 100;

// Logs the exception that is being handled.
void LogFailure() {
  LogException("", "Out of memory in data sender");
}

}  // namespace

ThreadedDataSender::ThreadedDataSender(Factory makeSender, CallLimits limits)
    : makeSender_(std::move(makeSender)), limits_(limits) {}

ThreadedDataSender::~ThreadedDataSender() {
  ThreadedDataSender::Close();
}

void ThreadedDataSender::LimitTo(int64_t deadline, int maxIdle) {
  deadline_.store(deadline, std::memory_order_relaxed);
  maxIdle_.store(maxIdle, std::memory_order_relaxed);
  // Later calls read the new limits; a running one must wake up to see them.
  const std::lock_guard guard(lock_);
  if (thread_) {
    thread_->Interrupt();
  }
}

int32_t ThreadedDataSender::Open() {
  return Perform({SenderThread::Operation::Open}).status;
}

int32_t ThreadedDataSender::Send(const void* body, size_t length, bool closeConnection) try {
  outcome_ = {};
  SenderThread::Call call{SenderThread::Operation::Send};
  call.closeConnection = closeConnection;
  // A copy: an abandoned call still reads its body after the caller has freed this one.
  const auto* const bytes = static_cast<const uint8_t*>(body);
  call.body.assign(bytes, bytes + length);
  const SenderThread::Result result = Perform(std::move(call));
  outcome_ = result.outcome;
  return result.status;
} catch (...) {
  LogFailure();
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
  if (Await(Platform::MonotonicMilliseconds() + limits_.close)) {
    sender_ = thread_->TakeSender();
    // The library must not end before its threads.
    thread_->Wait(TimeLeft(Platform::MonotonicMilliseconds() + kMaxThreadEnd),
                  Thread::WaitFor::End);
  }
  Detach();
}

SenderThread::Result ThreadedDataSender::Perform(SenderThread::Call call) {
  const int64_t end = Platform::MonotonicMilliseconds() + limits_.call;
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
  return thread_->TakeResult();
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
} catch (...) {
  LogFailure();
  return false;
}

// Waits for the running call until `end` or the deadline. False if it timed out and is abandoned.
bool ThreadedDataSender::Await(int64_t end) {
  while (!thread_->Finished()) {
    const int left = TimeLeft(std::min(end, IdleEnd()));
    if (left > 0) {
      if (!meanwhile_) {
        thread_->WaitForResult(left);
      } else if (!meanwhile_()) {
        thread_->WaitForResult(std::min(left, kMeanwhileInterval));
      }
    } else if (thread_->Abandon()) {
      LogWarning("Data sender did not answer in time. Giving it up");
      return false;
    }
  }
  return true;
}

void ThreadedDataSender::Detach() {
  SenderThreadPtr detached;  // released after the lock: the last reference deletes the thread
  const std::lock_guard guard(lock_);
  detached.swap(thread_);
}

// When the running call has made no progress for too long, unless it makes some before.
int64_t ThreadedDataSender::IdleEnd() const {
  return thread_->LastProgress() + maxIdle_.load(std::memory_order_relaxed);
}

// Milliseconds until `end` or the deadline, whichever is earlier; 0 after it.
int ThreadedDataSender::TimeLeft(int64_t end) const {
  const int64_t last = std::min(end, deadline_.load(std::memory_order_relaxed));
  const int64_t now = Platform::MonotonicMilliseconds();
  return last > now ? static_cast<int>(last - now) : 0;
}

}  // namespace Tav
