// The library as a host sees it: the finished DLL on Windows, the same code linked in elsewhere.
#pragma once

#include <gtest/gtest.h>
#include <tav/tav.h>

#include <string>
#include <string_view>

#include "system/gateway_client.h"

namespace Tav::Testing {

// TavLoader(version) of the library under test; fails the test program when there is none.
const TavEntryTable* LoadTable(int version);

// A host that reports to the local gateway. Starts not initialised, with an empty gateway; ends
// terminated.
class HostTest : public testing::Test {
 protected:
  HostTest();
  ~HostTest() override;

  void Initialize() { ASSERT_EQ(tav_->Initialize("System.Test", "1.0", "1.0.0", 3), TAV_OK); }
  // The events of that name that have arrived: [{"record", "component", "event"}].
  static JsonPtr Arrived(const std::string& name) { return AskGateway("api/events?name=" + name); }

  const TavEntryTable* tav_;
};

}  // namespace Tav::Testing
