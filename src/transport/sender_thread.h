// The thread that runs the blocking calls of a ThreadedDataSender.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/thread.h"
#include "transport/data_sender.h"
#include "util/thread.h"

namespace Tav {

// Runs one call at a time on its data sender. Ends after a Close call or when the owner abandons a
// call. The thread uses only its own objects and so may outlive its owner.
class SenderThread final : public Thread {
 public:
  enum class Operation { Open, Send, Fetch, Close };

  struct Call {
    Operation operation = Operation::Open;
    int timeLimit = 0;  // milliseconds for each wait of the call
    bool closeConnection = false;
    std::vector<uint8_t> body = {};
  };

  // The default is a failure.
  struct Result {
    int32_t status = 1;
    SendOutcome outcome = {};  // of Send
    std::string text = {};
  };

  // Called by the owner's thread:

  explicit SenderThread(std::unique_ptr<DataSender> sender);

  // Starts a call. The previous call must have finished.
  void Begin(Call call);
  bool Finished();
  // Waits until the call finishes, Interrupt is called or the time has passed; may return early.
  void WaitForResult(int milliseconds);
  // After the call has finished.
  Result TakeResult();
  // The thread ends as soon as the running call returns, and closes and destroys its sender. False
  // if the call has already finished.
  bool Abandon();
  // Takes the sender back before Run or after a finished Close call.
  std::unique_ptr<DataSender> TakeSender();

  // When the running call began or last made progress, see SendingProgress.
  int64_t LastProgress() const { return progress_.Last(); }

  // Any thread: ends the current or the next WaitForResult.
  void Interrupt();

 protected:
  ~SenderThread() override = default;
  void Main() override;

 private:
  enum class State { Idle, Running, Finished, Abandoned };

  bool NextCall();
  Result Perform();
  Result Send();
  bool Finish(Result result);

  Platform::Lock stateLock_;
  State state_ = State::Idle;  // guarded by stateLock_
  // Used by the thread while Running and Abandoned, by the owner otherwise.
  Call call_;
  Result result_;
  std::unique_ptr<DataSender> sender_;
  SendingProgress progress_;
  Platform::AutoResetEvent changed_;  // set by Finish and Interrupt
};

// Holds one reference to a thread.
struct ReleaseSenderThread {
  void operator()(SenderThread* thread) const { thread->Release(); }
};
using SenderThreadPtr = std::unique_ptr<SenderThread, ReleaseSenderThread>;

}  // namespace Tav
