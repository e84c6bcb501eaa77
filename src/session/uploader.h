// Sends records to the gateway, one by one, until all are accepted, one fails or time is up.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/thread.h"
#include "session/record_store.h"
#include "transport/threaded_data_sender.h"

namespace Tav {

// Sizes in bytes and times in milliseconds, to read in a debugger.
struct SendStatistics {
  int64_t records = 0;
  int64_t bytes = 0;
  int smallestRecord = 0;
  int largestRecord = 0;
  int64_t minTime = 0;
  int64_t maxTime = 0;
  int64_t totalTime = 0;

  void Count(int recordSize, int64_t milliseconds);
};

// Session thread only, except the operations on the deadline.
class Uploader {
 public:
  // Borrows the store; removes the records that the server has accepted.
  explicit Uploader(RecordStore& store) : store_(store) {}

  // False, after a message, if memory runs out; nothing can be sent then.
  bool UseGateway(std::string url);
  const std::string& GatewayUrl() const { return gatewayUrl_; }

  // Opens a connection and sends all records, those in the cache included. After UseGateway.
  bool SendAllRecords();

  // Any thread: from `monotonicMilliseconds` on nothing is sent. A request in flight times out at
  // that moment, so that its record can still go to the cache.
  void SetDeadline(int64_t monotonicMilliseconds);
  bool PastDeadline() const;
  // Milliseconds; 0 when the deadline has passed or none is set.
  int64_t TimeToDeadline() const;

 private:
  bool SendOnConnection();
  bool SendRecords();
  bool SendRecord(const BuiltRecord& record);

  RecordStore& store_;
  std::string gatewayUrl_;
  Platform::Lock senderLock_;  // held to replace the sender and to set its deadline
  std::unique_ptr<ThreadedDataSender> sender_;
  std::atomic<int64_t> deadline_{0};  // monotonic milliseconds; 0 for none
  SendStatistics statistics_;
};

}  // namespace Tav
