// The thread on which a ThreadedDataSender has its wrapped sender work.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/thread.h"
#include "transport/data_sender.h"
#include "util/thread.h"

namespace Tav {

// Performs one call at a time and ends with a call of Close, or when it has been abandoned. All it
// uses is its own, so that it may outlive whoever called.
class SenderThread final : public Thread {
 public:
  enum class Operation { Open, Send, Fetch, Close };

  struct Call {
    Operation operation = Operation::Open;
    int timeLimit = 0;  // milliseconds, for each of its waits
    bool closeConnection = false;
    std::vector<uint8_t> body = {};
  };

  struct Answer {
    int32_t status = 1;
    std::string text;
  };

  explicit SenderThread(std::unique_ptr<DataSender> sender);

  // These are the owner's. Begin is for a thread that has answered every call before.
  void Begin(Call call);
  bool Answered();
  // Waits for the answer or for Interrupt, for at most so long; may return early.
  void WaitForAnswer(int milliseconds);
  Answer TakeAnswer();
  // Says that nobody waits for the answer any more. False when it is there already.
  bool Abandon();
  // The sender as Close has left it, or before Run.
  std::unique_ptr<DataSender> TakeSender();

  // Any thread: ends one wait for the answer, the present or the next one.
  void Interrupt();

 protected:
  ~SenderThread() override = default;
  void Main() override;

 private:
  enum class State { Idle, Called, Answered, Abandoned };

  bool NextCall();
  Answer Perform();
  bool Deliver(Answer answer);

  State state_ = State::Idle;  // under Lock; says whose the members below are
  Call call_;
  Answer answer_;
  std::unique_ptr<DataSender> sender_;
  Platform::AutoResetEvent news_;
};

// Owns one reference to a thread.
struct ReleaseSenderThread {
  void operator()(SenderThread* thread) const { thread->Release(); }
};
using SenderThreadPtr = std::unique_ptr<SenderThread, ReleaseSenderThread>;

}  // namespace Tav
