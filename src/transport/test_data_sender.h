// The sender behind "test://" URLs: hands expanded bodies to a function of a test harness.
#pragma once

#include "transport/data_sender.h"

namespace Tav {

class TestDataSender : public DataSender {
 public:
  // Called on the sender's thread. Null and 0 stand for Open, anything else is one expanded body,
  // borrowed for the call. What it returns becomes the operation's status. Must not throw.
  using Hook = int32_t (*)(const uint8_t* data, size_t length);

  // For the whole process; null removes it. Not while a sender of this kind is in use: the hook is
  // a plain variable. Without a hook every operation succeeds.
  static void SetHook(Hook hook);

  int32_t Send(const void* body, size_t length, bool closeConnection) override;
  int32_t Open() override;
};

}  // namespace Tav
