// Hosts in processes of their own that share one storage folder, and the gateway they report to.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/process.h"
#include "system/gateway_client.h"
#include "system/posix/cache_contents.h"
#include "system/posix/host_process.h"

namespace Tav::Testing {

class HostProcessTest : public testing::Test {
 protected:
  HostProcessTest() {
    std::filesystem::remove_all(base_);
    std::filesystem::create_directories(Storage());
    ResetGateway();
  }
  ~HostProcessTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(base_, ignored);
  }

  const std::filesystem::path& Base() const { return base_; }
  std::filesystem::path Storage() const { return base_ / "Quendel" / "Tav"; }

  // A host that reports to the gateway; no configuration server answers.
  HostSettings Host(const std::string& prefix) const {
    return {.prefix = prefix, .folder = base_, .gateway = GatewayUrl(), .configurator = kNobody};
  }
  HostSettings LonelyHost(const std::string& prefix) const {
    HostSettings settings = Host(prefix);
    settings.gateway = kNobody;
    return settings;
  }

  // Settings as an earlier run would have received them from the configuration server.
  void PutSettings(const std::string& settings) const {
    std::ofstream(Storage() / "TavData", std::ios::binary)
        << R"({"Products":[{"Name":"Durable","Version":"1.0","Platform":"wntx64","Settings":)"
        << settings << "}]}";
  }

  // A run with the gateway that reports nothing of its own: delivers the cache. An empty file may
  // stay, where a host was killed before its first write.
  void RunForTheCache() const {
    HostSettings settings = Host("none");
    settings.logLevel = "DEBUG";
    HostProcess host(settings);
    host.Tell("start\nterminate");
    host.Finish();
    const CacheContents left = ReadCache(Storage());
    EXPECT_EQ(left.events.size(), 0u) << host.WholeLog();
    EXPECT_EQ(left.tornFiles, 0) << host.WholeLog();
  }

  void ExpectNoBadRecords() const {
    EXPECT_EQ(GatewayCount("bad_records"), 0);
    EXPECT_EQ(GatewayCount("doubled_records"), 0);
  }

 private:
  const std::filesystem::path base_ = std::filesystem::temp_directory_path() /
                                      ("tav_hosts_" + std::to_string(Platform::ProcessId()));
};

}  // namespace Tav::Testing
