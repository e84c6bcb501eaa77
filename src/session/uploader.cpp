#include "session/uploader.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/clock.h"
#include "util/logger.h"

namespace Tav {

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
  const std::lock_guard guard(senderLock_);
  sender_.swap(sender);
  if (const int64_t deadline = deadline_.load(std::memory_order_relaxed); deadline != 0) {
    sender_->LimitTo(deadline);
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
    sender_->LimitTo(monotonicMilliseconds);
  }
}

bool Uploader::PastDeadline() const {
  const int64_t deadline = deadline_.load(std::memory_order_acquire);
  return deadline != 0 && Platform::MonotonicMilliseconds() >= deadline;
}

int64_t Uploader::TimeToDeadline() const {
  return std::max<int64_t>(
      deadline_.load(std::memory_order_acquire) - Platform::MonotonicMilliseconds(), 0);
}

bool Uploader::SendAllRecords() {
  TAV_NOTE("SM: Connecting to server");
  bool sent = false;
  if (sender_->Open() == 0) {
    try {
      sent = SendOnConnection();
    } catch (...) {
      LogException("SM: ");
    }
  } else {
    LogWarning("SM: Send data to server: Server connection failed");
    TAV_NOTE("SM: Sending no records");
  }
  sender_->Close();
  return sent;
}

// When all records are in the cache, sends an empty body first: records are loaded only for a
// server that answers.
bool Uploader::SendOnConnection() {
  if (store_.NothingInMemory() && sender_->Send(nullptr, 0, false) != 0) {
    TAV_NOTE("SM: Sending no records");
    return false;
  }
  return SendRecords();
}

bool Uploader::SendRecords() {
  while (const BuiltRecord* const record = store_.Oldest()) {
    if (PastDeadline()) {
      LogWarning("SM: Send cancelled due to being too close to final termination");
      return false;
    }
    if (!SendRecord(*record)) {
      LogWarning("SM: Send of record to server failed");
      return false;
    }
    TAV_NOTE("SM: Record sent");
  }
  return true;
}

bool Uploader::SendRecord(const BuiltRecord& record) {
  const int64_t start = Platform::MonotonicMilliseconds();
  const bool isLast = store_.HasOne();
  const bool sent =
      sender_->Send(record.bytes.data(), static_cast<uint32_t>(record.Size()), isLast) == 0;
  statistics_.Count(record.Size(), Platform::MonotonicMilliseconds() - start);
  if (!sent) {
    LogWarning("SM: SendRecord: Send of record failed");
    return false;
  }
  store_.RemoveAccepted();
  TAV_TRACE("SM: SendRecord: Record sent");
  return true;
}

}  // namespace Tav
