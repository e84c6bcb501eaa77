// A host whose reports are compared as a whole with what has arrived at the gateway.
#pragma once

#include <string>
#include <vector>

#include "system/host.h"

namespace Tav::Testing {

using Lines = std::vector<std::string>;

class SlotTest : public HostTest {
 protected:
  // Terminates: everything that is to be sent has then arrived.
  void Stop() const { tav_->Terminate(); }

  // All events that have arrived, in order, each with its session as a number (1 for the first that
  // has arrived) in front, and without its time stamp: R"(1 {"m":"Open","v":{"Pages":2.0}})".
  static Lines Told();

  // The records that have arrived, in order.
  static std::vector<JsonPtr> Records();

  // One member of a record as compact JSON; empty when it is not there. Time stamps are left out of
  // objects.
  static std::string Member(const JsonPtr& record, const char* key);
};

}  // namespace Tav::Testing
