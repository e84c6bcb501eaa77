// Lets the calls of another sender be given up. They run on a thread of their own, the thread, so
// that the caller can stop waiting for a server that accepted a connection and never answers.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>

#include "platform/thread.h"
#include "transport/data_sender.h"
#include "transport/sender_thread.h"

namespace Tav {

// Each call returns what the wrapped sender's returns, or fails with status 1 (an empty text) when
// its time is over, when memory runs out and when no thread can be started. The thread lives from
// Open, or for a Fetch alone, to Close. The wrapped sender is kept from one thread to the next.
//
// A call is given up with one warning. Its thread then ends by itself as soon as the wrapped
// sender lets it, closes and destroys that sender on its own thread and knows nothing of this
// object any more. The body that was being sent may or may not arrive. Send fails from then on;
// the next Open starts anew, with a new thread and a new wrapped sender.
//
// All members but LimitTo belong to one thread at a time, as with every sender.
class ThreadedDataSender final : public DataSender {
 public:
  // Makes a sender to be wrapped, at the first Open or Fetch and after each call given up. Called
  // on the caller's thread, so it must not block; never null; may throw std::bad_alloc.
  using Factory = std::function<std::unique_ptr<DataSender>()>;

  static constexpr int64_t kNoDeadline = std::numeric_limits<int64_t>::max();

  // Milliseconds that one call may take without a deadline. The system's HTTP limits bound single
  // waits, not calls: a peer that moves a byte now and then would otherwise hold the caller for
  // ever. Ten minutes carry the largest record at a kilobyte a second.
  static constexpr int kLongestCall = 10 * 60 * 1000;

  explicit ThreadedDataSender(Factory makeSender, int longestCall = kLongestCall);
  // As Close.
  ~ThreadedDataSender() override;

  // Any thread, at any time in this object's life; does not block. From the moment `deadline`, on
  // the scale of Platform::MonotonicMilliseconds, a call that is running is given up and later
  // ones fail at once. The latest deadline counts; kNoDeadline takes it back.
  void LimitTo(int64_t deadline);

  int32_t Send(const void* body, size_t length, bool closeConnection) override;
  int32_t Open() override;
  // Waits some seconds at most, and not beyond the deadline, for sender and thread to end.
  void Close() override;
  std::string Fetch() override;

 private:
  bool StartThread();
  void Detach();
  SenderThread::Answer Perform(SenderThread::Call call);
  bool Await(int64_t end);
  int TimeLeft(int64_t end) const;

  const Factory makeSender_;
  const int longestCall_;
  std::unique_ptr<DataSender> sender_;  // while no thread has it
  std::atomic<int64_t> deadline_{kNoDeadline};
  Platform::Lock lock_;  // to change the pointer below, and to use it in LimitTo
  SenderThreadPtr thread_;
};

}  // namespace Tav
