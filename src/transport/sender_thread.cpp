#include "transport/sender_thread.h"

#include <mutex>
#include <utility>

#include "util/logger.h"

namespace Tav {

SenderThread::SenderThread(std::unique_ptr<DataSender> sender) : sender_(std::move(sender)) {}

void SenderThread::Begin(Call call) {
  call_ = std::move(call);
  progress_.Note();
  {
    const std::lock_guard guard(stateLock_);
    state_ = State::Running;
  }
  Signal();
}

bool SenderThread::Finished() {
  const std::lock_guard guard(stateLock_);
  return state_ == State::Finished;
}

void SenderThread::WaitForResult(int milliseconds) {
  WaitOrPoll(changed_, milliseconds);
}

SenderThread::Result SenderThread::TakeResult() {
  return std::exchange(result_, {});
}

bool SenderThread::Abandon() {
  const std::lock_guard guard(stateLock_);
  if (state_ == State::Finished) {
    return false;
  }
  state_ = State::Abandoned;
  return true;
}

std::unique_ptr<DataSender> SenderThread::TakeSender() {
  if (sender_) {
    sender_->ReportTo(nullptr);
  }
  return std::move(sender_);
}

void SenderThread::Interrupt() {
  changed_.Set();
}

void SenderThread::Main() {
  while (NextCall()) {
    const bool last = call_.operation == Operation::Close;
    if (!Finish(Perform())) {
      break;
    }
    if (last) {
      return;
    }
  }
  // Closing may block as well: here, not on the owner's thread.
  sender_->Close();
  sender_.reset();
}

// Waits for a call. False if the thread is abandoned.
bool SenderThread::NextCall() {
  for (;;) {
    {
      const std::lock_guard guard(stateLock_);
      if (state_ == State::Running || state_ == State::Abandoned) {
        return state_ == State::Running;
      }
    }
    Wait(-1, WaitFor::Work);
  }
}

SenderThread::Result SenderThread::Perform() try {
  sender_->LimitWaits(call_.timeLimit);
  sender_->ReportTo(&progress_);
  switch (call_.operation) {
    case Operation::Open:
      return {.status = sender_->Open()};
    case Operation::Send:
      return Send();
    case Operation::Fetch:
      return {.status = 0, .text = sender_->Fetch()};
    case Operation::Close:
      sender_->Close();
      return {.status = 0};
  }
  return {};
} catch (...) {
  // The owner waits for a result in any case.
  LogError("Exception in data sender caught");
  return {};
}

SenderThread::Result SenderThread::Send() {
  Result result;
  result.status = sender_->Send(call_.body.data(), call_.body.size(), call_.closeConnection);
  if (result.status != 0) {
    result.outcome = sender_->LastOutcome();
  }
  return result;
}

// False if the call has been abandoned.
bool SenderThread::Finish(Result result) {
  {
    const std::lock_guard guard(stateLock_);
    if (state_ == State::Abandoned) {
      return false;
    }
    result_ = std::move(result);
    state_ = State::Finished;
  }
  changed_.Set();
  return true;
}

}  // namespace Tav
