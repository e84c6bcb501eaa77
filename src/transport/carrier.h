// The thread on which a CarrierDataSender has its wrapped sender work.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/sync.h"
#include "transport/data_sender.h"
#include "util/thread.h"

namespace Tav {

// Performs one call at a time and ends with a call of Close, or when it has been abandoned. All it
// uses is its own, so that it may outlive whoever called.
class Carrier final : public Thread {
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

  explicit Carrier(std::unique_ptr<DataSender> sender);

  // These are the owner's. Begin is for a carrier that has answered every call before.
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
  ~Carrier() override = default;
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

// Owns one reference to a carrier.
struct ReleaseCarrier {
  void operator()(Carrier* carrier) const { carrier->Release(); }
};
using CarrierPtr = std::unique_ptr<Carrier, ReleaseCarrier>;

}  // namespace Tav
