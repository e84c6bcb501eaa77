// The library as a host uses it: the finished DLL on Windows, the same code linked in elsewhere.
#pragma once

#include <gtest/gtest.h>
#include <tav/tav.h>

#include <filesystem>
#include <string>
#include <vector>

#include "system/gateway_client.h"

namespace Tav::Testing {

// A host that reports to the local gateway. Each test starts with the library not initialised, an
// empty gateway and a storage folder that says the machine was described today, and ends
// terminated.
class HostTest : public testing::Test {
 protected:
  HostTest();
  ~HostTest() override;

  void Initialize();
  // Terminates. Everything that is to be sent has then arrived.
  void Stop() const { tav_->Terminate(); }
  // A run that logs one event.
  void RunOnce(const char* event);

  // Set the servers for the next Initialize. At first there is no configuration server.
  static void UseGateway(const std::string& url);
  static void UseConfigurationServer(const std::string& url);
  // Sets the storage folder of the library `tav`, before its Initialize.
  void UseFolder(const TavEntryTable* tav) const;
  // Writes settings as if they had come from the configuration server.
  void PutSettings(const std::string& settings) const;

  const std::filesystem::path& Folder() const { return folder_; }
  // The cache files' names up to the product's hash: "TavCache", "TavDCache", "TavICache".
  Lines CacheFiles() const;

  // The events of that name that have arrived: [{"record", "component", "event"}].
  static JsonPtr Arrived(const std::string& name) { return GatewayGet("api/events?name=" + name); }
  static size_t TimesArrived(const std::string& name) {
    return json_array_size(Arrived(name).Get());
  }

  // All events that have arrived, in order, without time stamps. Sessions are numbered in order of
  // arrival: R"(1 {"m":"Open","v":{"Pages":2.0}})".
  static Lines ArrivedEvents();
  // The records that have arrived, in order.
  static std::vector<JsonPtr> Records();
  // A member of a record as compact JSON without its time stamp; empty if it is missing.
  static std::string Member(const JsonPtr& record, const char* key);

  const TavEntryTable* tav_;

 private:
  const std::filesystem::path folder_;
};

}  // namespace Tav::Testing
