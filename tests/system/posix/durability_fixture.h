// Hosts in processes of their own that share a storage folder and report to the gateway.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "system/gateway_client.h"
#include "system/posix/host_process.h"

namespace Tav::Testing {

// The contents of a product's cache.
struct CacheContents {
  Lines files;        // names
  Lines events;       // names of the events that the library will find
  int tornFiles = 0;  // files with an incomplete last chunk
  // Errors: records that do not expand, and data after an incomplete chunk, which the library does
  // not find.
  Lines faults;
};

class HostProcessTest : public testing::Test {
 protected:
  HostProcessTest();
  ~HostProcessTest() override;

  const std::filesystem::path& Base() const { return base_; }
  std::filesystem::path Storage() const { return base_ / "Quendel" / "Tav"; }

  // A host that reports to the gateway, without a configuration server.
  HostSettings Host(const std::string& prefix) const {
    return {.prefix = prefix, .folder = base_, .gateway = GatewayUrl()};
  }
  HostSettings HostWithoutGateway(const std::string& prefix) const {
    HostSettings settings = Host(prefix);
    settings.gateway = kNoServer;
    return settings;
  }

  // Writes settings as if they had come from the configuration server.
  void PutSettings(const std::string& settings) const;

  // Reads the cache without changing it. No host may run.
  CacheContents ReadCache() const;

  // The names of the journals.
  Lines Journals() const;

  // Runs a host that reports nothing, so that it delivers the journals and the cache. An empty file
  // may remain if a host was killed before its first write.
  void DeliverCache() const;

 private:
  const std::filesystem::path base_;
};

}  // namespace Tav::Testing
