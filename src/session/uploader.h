// Sends records to the gateway, one by one, until all are accepted or refused, the gateway is not
// reached or time is up.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/thread.h"
#include "session/record_store.h"
#include "session/send_queue.h"
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

enum class SendProgress {
  Done,     // the server has accepted everything
  Refused,  // no other records are left than refused ones
  More,     // the slice is over
  Failed,   // the gateway was not reached or takes no records
};

// Session thread only, except the operations on the deadline.
class Uploader {
 public:
  // Milliseconds. At the end of a run a request that makes no progress for this long is abandoned.
  static constexpr int kMaxIdleAtEnd = 2000;

  // Borrows both. Accepted records leave the store; the queue learns which ones are refused.
  Uploader(RecordStore& store, SendQueue& queue) : store_(store), queue_(queue) {}

  // False, after a message, if memory runs out; nothing can be sent then.
  bool UseGateway(std::string url);
  const std::string& GatewayUrl() const { return gatewayUrl_; }

  // Sends one slice of the records, including those in the cache. A slice ends after about a
  // second, or after the records in memory and one cache file. Opens a connection unless one is
  // open, and closes it unless more is left. After UseGateway.
  SendProgress SendSome();
  // Whether the last slice has left more.
  bool Connected() const { return connected_; }
  void Disconnect();
  // After Failed: the seconds for which the server asks not to be tried; 0 for none.
  int RetryAfter() const { return retryAfter_; }

  // Any thread: the run ends. From `monotonicMilliseconds` on nothing is sent. A request in flight
  // times out at that moment, or when it makes no progress for kMaxIdleAtEnd, so that its record
  // can still go to the cache. After a request without an answer nothing more is sent.
  void SetDeadline(int64_t monotonicMilliseconds);
  bool PastDeadline() const;
  // Milliseconds; 0 when the deadline has passed or none is set.
  int64_t TimeToDeadline() const;

 private:
  bool Connect();
  SendProgress SendRecords(int64_t end);
  bool SendRecord(const BuiltRecord& record);
  bool OnNotAccepted(const SendOutcome& outcome);
  void NoteFailure(const SendOutcome& outcome);

  RecordStore& store_;
  SendQueue& queue_;
  std::string gatewayUrl_;
  Platform::Lock senderLock_;  // held to replace the sender and to set its deadline
  std::unique_ptr<ThreadedDataSender> sender_;
  std::atomic<int64_t> deadline_{0};  // monotonic milliseconds; 0 for none
  bool connected_ = false;
  bool silentAtEnd_ = false;
  bool refusedAny_ = false;  // since Connect
  int refusedInRow_ = 0;
  int retryAfter_ = 0;  // seconds
  SendStatistics statistics_;
};

}  // namespace Tav
