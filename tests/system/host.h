// The library as a host sees it: the finished DLL on Windows, the same code linked in elsewhere.
#pragma once

#include <gtest/gtest.h>
#include <tav/tav.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "system/gateway_client.h"

namespace Tav::Testing {

// TavLoader(version) of the library under test; fails the test program when there is none.
const TavEntryTable* LoadTable(int version);

// A host that reports to the local gateway. Starts not initialised, with an empty gateway and an
// empty storage folder of its own; ends terminated.
class HostTest : public testing::Test {
 protected:
  HostTest();
  ~HostTest() override;

  void Initialize();
  // The gateway from the next Initialize on.
  static void UseGateway(const std::string& url);
  const std::filesystem::path& Folder() const { return folder_; }
  // The events of that name that have arrived: [{"record", "component", "event"}].
  static JsonPtr Arrived(const std::string& name) { return AskGateway("api/events?name=" + name); }

  // For the library `tav`, before its Initialize.
  void UseFolder(const TavEntryTable* tav) const;

  const TavEntryTable* tav_;

 private:
  const std::filesystem::path folder_;
};

}  // namespace Tav::Testing
