#include "session/uploader.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/clock.h"
#include "util/logger.h"

namespace Tav {

namespace {

// Milliseconds. Between slices the session thread serves the host and flushes to the disk.
constexpr int64_t kMaxSlice = 1000;

// A server that refuses so many records in a row probably refuses all of them; it may be a filter
// in front of the gateway. Without a bound, each attempt would send the whole cache.
constexpr int kMaxRefusedInRow = 16;

}  // namespace

void SendStatistics::Count(int recordSize, int64_t milliseconds) {
  const bool first = records == 0;
  ++records;
  bytes += recordSize;
  totalTime += milliseconds;
  smallestRecord = first ? recordSize : std::min(smallestRecord, recordSize);
  largestRecord = std::max(largestRecord, recordSize);
  minTime = first ? milliseconds : std::min(minTime, milliseconds);
  maxTime = std::max(maxTime, milliseconds);
}

bool Uploader::UseGateway(std::string url) try {
  gatewayUrl_ = std::move(url);
  auto sender = std::make_unique<ThreadedDataSender>(
      [target = gatewayUrl_] { return CreateDataSender(target); });
  sender->SetMeanwhile([this] {
    try {
      return queue_.PrepareNext();
    } catch (...) {
      LogException("SM: ");
      return false;
    }
  });
  const std::lock_guard guard(senderLock_);
  sender_.swap(sender);
  if (const int64_t deadline = deadline_.load(std::memory_order_relaxed); deadline != 0) {
    sender_->LimitTo(deadline, kMaxIdleAtEnd);
  }
  return true;
} catch (...) {
  LogException("SM: ");
  return false;
}

void Uploader::SetDeadline(int64_t monotonicMilliseconds) {
  const std::lock_guard guard(senderLock_);
  deadline_.store(monotonicMilliseconds, std::memory_order_release);
  if (sender_ != nullptr) {
    sender_->LimitTo(monotonicMilliseconds, kMaxIdleAtEnd);
  }
}

bool Uploader::PastDeadline() const {
  const int64_t deadline = deadline_.load(std::memory_order_acquire);
  return silentAtEnd_ || (deadline != 0 && Platform::MonotonicMilliseconds() >= deadline);
}

int64_t Uploader::TimeToDeadline() const {
  return std::max<int64_t>(
      deadline_.load(std::memory_order_acquire) - Platform::MonotonicMilliseconds(), 0);
}

SendProgress Uploader::SendSome() {
  const int64_t end = Platform::MonotonicMilliseconds() + kMaxSlice;
  SendProgress progress = SendProgress::Failed;
  try {
    if (connected_ || Connect()) {
      progress = SendRecords(end);
    }
  } catch (...) {
    LogException("SM: ");
  }
  if (progress != SendProgress::More) {
    Disconnect();
  }
  return progress;
}

// When all records are in the cache, sends an empty body first: records are loaded only for a
// server that answers.
bool Uploader::Connect() {
  TAV_NOTE("SM: Connecting to server");
  connected_ = true;
  refusedAny_ = false;
  refusedInRow_ = 0;
  retryAfter_ = 0;
  queue_.BeginSend();
  if (sender_->Open() != 0) {
    LogWarning("SM: Send data to server: Server connection failed");
    TAV_NOTE("SM: Sending no records");
    return false;
  }
  if (store_.NothingInMemory() && sender_->Send(nullptr, 0, false) != 0) {
    NoteFailure(sender_->LastOutcome());
    TAV_NOTE("SM: Sending no records");
    return false;
  }
  return true;
}

void Uploader::Disconnect() {
  if (connected_) {
    connected_ = false;
    sender_->Close();
  }
}

SendProgress Uploader::SendRecords(int64_t end) {
  bool loaded = false;
  for (;;) {
    if (store_.NothingInMemory() && !queue_.SupplyLeft() && store_.CacheSize() != 0) {
      if (loaded) {
        return SendProgress::More;
      }
      loaded = true;
    }
    const BuiltRecord* const record = queue_.Next();
    if (record == nullptr) {
      break;
    }
    if (PastDeadline()) {
      LogWarning("SM: Send cancelled due to being too close to final termination");
      return SendProgress::Failed;
    }
    if (!SendRecord(*record)) {
      LogWarning("SM: Send of record to server failed");
      return SendProgress::Failed;
    }
    if (Platform::MonotonicMilliseconds() >= end) {
      return SendProgress::More;
    }
  }
  return refusedAny_ || queue_.HasRefused() ? SendProgress::Refused : SendProgress::Done;
}

// False if the send must end here.
bool Uploader::SendRecord(const BuiltRecord& record) {
  const int64_t start = Platform::MonotonicMilliseconds();
  const bool isLast = queue_.HasOne();
  const bool sent =
      sender_->Send(record.bytes.data(), static_cast<uint32_t>(record.Size()), isLast) == 0;
  statistics_.Count(record.Size(), Platform::MonotonicMilliseconds() - start);
  if (!sent) {
    return OnNotAccepted(sender_->LastOutcome());
  }
  refusedInRow_ = 0;
  store_.RemoveAccepted();
  TAV_TRACE("SM: SendRecord: Record sent");
  TAV_NOTE("SM: Record sent");
  return true;
}

// The server may accept the records after one that it refuses, unless it refuses everything.
bool Uploader::OnNotAccepted(const SendOutcome& outcome) {
  if (outcome.kind != SendOutcome::Kind::Refused) {
    LogWarning("SM: SendRecord: Send of record failed");
    NoteFailure(outcome);
    return false;
  }
  queue_.SetRefused(outcome.status);
  refusedAny_ = true;
  if (++refusedInRow_ < kMaxRefusedInRow) {
    return true;
  }
  LogWarning("SM: Server refused %d records in a row", refusedInRow_);
  return false;
}

void Uploader::NoteFailure(const SendOutcome& outcome) {
  retryAfter_ = outcome.retryAfter;
  const bool answered = outcome.status != 0;
  silentAtEnd_ = !answered && deadline_.load(std::memory_order_acquire) != 0;
}

}  // namespace Tav
