// Runs another data sender's calls on a separate thread, so that the caller can stop waiting for a
// server that accepts a connection and never responds.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "platform/thread.h"
#include "transport/data_sender.h"
#include "transport/sender_thread.h"

namespace Tav {

// Milliseconds that an operation may take without a deadline.
struct CallLimits {
  // The HTTP limits bound single waits, not calls: a server that transfers a byte now and then
  // would block the caller for ever. Ten minutes transfer the largest record at a kilobyte a
  // second.
  int call = 10 * 60 * 1000;
  // Closing handles needs no network, but the system may be slow.
  int close = 3000;
};

// Each call returns the wrapped sender's result, or fails with status 1 (an empty text) if it times
// out, memory runs out or no thread can be started. The thread lives from Open to Close, or for one
// Fetch. The wrapped sender is kept from one thread to the next.
//
// A call that times out is abandoned with one warning; the body that it was sending may or may not
// arrive. This object detaches from the thread and its sender: the thread ends as soon as the call
// returns, and closes and destroys the sender. Send fails from then on; the next Open creates a new
// thread and a new sender.
//
// All members but LimitTo are used by one thread at a time, as with every sender.
class ThreadedDataSender final : public DataSender {
 public:
  // Creates the sender to wrap, at the first Open or Fetch and after each abandoned call. Runs on
  // the caller's thread, so it must not block; never returns null; may throw std::bad_alloc.
  using Factory = std::function<std::unique_ptr<DataSender>()>;

  static constexpr int64_t kNoDeadline = std::numeric_limits<int64_t>::max();
  static constexpr int kNoIdleLimit = std::numeric_limits<int>::max();

  explicit ThreadedDataSender(Factory makeSender, CallLimits limits = {});
  // Closes the sender.
  ~ThreadedDataSender() override;

  // The caller's thread runs it while it waits for a call: about ten times a second, or again at
  // once when it returns true. It delays the end of the call, also that at a deadline, so it must
  // be short.
  void SetMeanwhile(std::function<bool()> meanwhile) { meanwhile_ = std::move(meanwhile); }

  // Any thread, at any time; does not block. At `deadline`, on the scale of
  // Platform::MonotonicMilliseconds, a running call is abandoned; later calls fail at once.
  // Replaces the deadline set before; kNoDeadline removes it.
  // The same for a call that has made no progress for `maxIdle` milliseconds: it is abandoned at
  // once if it made none for that long before.
  void LimitTo(int64_t deadline, int maxIdle = kNoIdleLimit);

  int32_t Send(const void* body, size_t length, bool closeConnection) override;
  int32_t Open() override;
  // Waits for the sender and its thread to end, not beyond the deadline.
  void Close() override;
  std::string Fetch() override;
  SendOutcome LastOutcome() const override { return outcome_; }

 private:
  bool StartThread();
  void Detach();
  SenderThread::Result Perform(SenderThread::Call call);
  bool Await(int64_t end);
  int TimeLeft(int64_t end) const;
  int64_t IdleEnd() const;

  const Factory makeSender_;
  const CallLimits limits_;
  std::function<bool()> meanwhile_;
  std::unique_ptr<DataSender> sender_;  // null while a thread owns it
  SendOutcome outcome_;                 // of the last Send
  std::atomic<int64_t> deadline_{kNoDeadline};
  std::atomic<int> maxIdle_{kNoIdleLimit};  // milliseconds
  Platform::Lock lock_;                     // held to change thread_, and to use it in LimitTo
  SenderThreadPtr thread_;
};

}  // namespace Tav
