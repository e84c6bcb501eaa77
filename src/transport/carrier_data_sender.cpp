#include "transport/carrier_data_sender.h"

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
// For a carrier that has done everything to be gone from the system's list of threads.
constexpr int kLongestEnd = 1000;

void LogOutOfMemory() {
  LogError("Out of memory in data sender");
}

}  // namespace

CarrierDataSender::CarrierDataSender(Factory makeSender, int longestCall)
    : makeSender_(std::move(makeSender)), longestCall_(longestCall) {}

CarrierDataSender::~CarrierDataSender() {
  CarrierDataSender::Close();
}

void CarrierDataSender::LimitTo(int64_t deadline) {
  deadline_.store(deadline, std::memory_order_relaxed);
  // A call that starts after this finds the new deadline; one that runs is told.
  const std::lock_guard guard(lock_);
  if (carrier_) {
    carrier_->Interrupt();
  }
}

int32_t CarrierDataSender::Open() {
  return Perform({Carrier::Operation::Open}).status;
}

int32_t CarrierDataSender::Send(const void* body, size_t length, bool closeConnection) try {
  Carrier::Call call{Carrier::Operation::Send};
  call.closeConnection = closeConnection;
  // A call given up goes on reading its body after the caller has freed this one.
  const auto* const bytes = static_cast<const uint8_t*>(body);
  call.body.assign(bytes, bytes + length);
  return Perform(std::move(call)).status;
} catch (const std::bad_alloc&) {
  LogOutOfMemory();
  return 1;
}

std::string CarrierDataSender::Fetch() {
  const bool opened = carrier_ != nullptr;
  std::string text = Perform({Carrier::Operation::Fetch}).text;
  if (!opened) {
    Close();
  }
  return text;
}

void CarrierDataSender::Close() {
  if (!carrier_) {
    return;
  }
  carrier_->Begin({Carrier::Operation::Close});
  if (Await(Platform::MonotonicMilliseconds() + kLongestClose)) {
    sender_ = carrier_->TakeSender();
    // So that no thread of the library is left when the library has ended.
    carrier_->Wait(TimeLeft(Platform::MonotonicMilliseconds() + kLongestEnd), true);
  }
  LetGo();
}

Carrier::Answer CarrierDataSender::Perform(Carrier::Call call) {
  const int64_t end = Platform::MonotonicMilliseconds() + longestCall_;
  call.timeLimit = TimeLeft(end);
  if (call.timeLimit == 0) {
    TAV_DEBUG("Data sender has no time left");
    return {};
  }
  if (!carrier_ && (call.operation == Carrier::Operation::Send || !StartCarrier())) {
    return {};
  }
  carrier_->Begin(std::move(call));
  if (!Await(end)) {
    LetGo();
    return {};
  }
  return carrier_->TakeAnswer();
}

bool CarrierDataSender::StartCarrier() try {
  if (!sender_) {
    sender_ = makeSender_();
  }
  CarrierPtr carrier(new Carrier(std::move(sender_)));
  if (!carrier->Run()) {
    sender_ = carrier->TakeSender();
    return false;
  }
  const std::lock_guard guard(lock_);
  carrier_ = std::move(carrier);
  return true;
} catch (const std::bad_alloc&) {
  LogOutOfMemory();
  return false;
}

// False when the carrier has been abandoned: its answer did not come before `end` and the deadline.
bool CarrierDataSender::Await(int64_t end) {
  while (!carrier_->Answered()) {
    const int left = TimeLeft(end);
    if (left > 0) {
      carrier_->WaitForAnswer(left);
    } else if (carrier_->Abandon()) {
      LogWarning("Data sender did not answer in time. Giving it up");
      return false;
    }
  }
  return true;
}

void CarrierDataSender::LetGo() {
  CarrierPtr gone;  // outlives the lock: letting go may destroy the carrier
  const std::lock_guard guard(lock_);
  gone.swap(carrier_);
}

// Milliseconds until `end` or the deadline, whichever comes first; 0 once it has come.
int CarrierDataSender::TimeLeft(int64_t end) const {
  const int64_t last = std::min(end, deadline_.load(std::memory_order_relaxed));
  const int64_t now = Platform::MonotonicMilliseconds();
  return last > now ? static_cast<int>(last - now) : 0;
}

}  // namespace Tav
