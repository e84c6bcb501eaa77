#include "transport/sender_thread.h"

#include <algorithm>
#include <utility>

#include "util/logger.h"

namespace Tav {

namespace {

// How often an owner looks for the answer when the system gave no event for it.
constexpr int kPollMilliseconds = 100;

// Holds the lock that every thread object has.
class StateLock {
 public:
  explicit StateLock(Thread* thread) : thread_(thread) { thread_->Lock(); }
  ~StateLock() { thread_->Unlock(); }
  StateLock(const StateLock&) = delete;
  StateLock& operator=(const StateLock&) = delete;

 private:
  Thread* const thread_;
};

}  // namespace

SenderThread::SenderThread(std::unique_ptr<DataSender> sender) : sender_(std::move(sender)) {}

void SenderThread::Begin(Call call) {
  call_ = std::move(call);
  {
    const StateLock lock(this);
    state_ = State::Called;
  }
  Signal();
}

bool SenderThread::Answered() {
  const StateLock lock(this);
  return state_ == State::Answered;
}

void SenderThread::WaitForAnswer(int milliseconds) {
  if (news_.Wait(milliseconds) == Platform::WaitResult::Failed) {
    Platform::SleepMilliseconds(std::min(milliseconds, kPollMilliseconds));
  }
}

SenderThread::Answer SenderThread::TakeAnswer() {
  return std::exchange(answer_, {});
}

bool SenderThread::Abandon() {
  const StateLock lock(this);
  if (state_ == State::Answered) {
    return false;
  }
  state_ = State::Abandoned;
  return true;
}

std::unique_ptr<DataSender> SenderThread::TakeSender() {
  return std::move(sender_);
}

void SenderThread::Interrupt() {
  news_.Set();
}

void SenderThread::Main() {
  while (NextCall()) {
    const bool last = call_.operation == Operation::Close;
    if (!Deliver(Perform())) {
      break;
    }
    if (last) {
      return;
    }
  }
  // The sender must be closed where it may have to wait.
  sender_->Close();
  sender_.reset();
}

// False when nobody will call any more.
bool SenderThread::NextCall() {
  for (;;) {
    {
      const StateLock lock(this);
      if (state_ == State::Called || state_ == State::Abandoned) {
        return state_ == State::Called;
      }
    }
    Wait(-1, false);
  }
}

SenderThread::Answer SenderThread::Perform() try {
  sender_->LimitWaits(call_.timeLimit);
  switch (call_.operation) {
    case Operation::Open:
      return {sender_->Open(), {}};
    case Operation::Send:
      return {sender_->Send(call_.body.data(), call_.body.size(), call_.closeConnection), {}};
    case Operation::Fetch:
      return {0, sender_->Fetch()};
    case Operation::Close:
      sender_->Close();
      return {0, {}};
  }
  return {};
} catch (...) {
  // The owner must have its answer, whatever happened here.
  LogError("Exception in data sender caught");
  return {};
}

// False when nobody takes the answer.
bool SenderThread::Deliver(Answer answer) {
  {
    const StateLock lock(this);
    if (state_ == State::Abandoned) {
      return false;
    }
    answer_ = std::move(answer);
    state_ = State::Answered;
  }
  news_.Set();
  return true;
}

}  // namespace Tav
