#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

#include "support/captured_log.h"
#include "support/loopback_server.h"
#include "transport/http_data_sender.h"

namespace Tav::Testing {
namespace {

TEST(HttpDataSenderIpv6Test, SendsToAnAddressInBrackets) {
  std::optional<LoopbackServer> server;
  try {
    server.emplace(LoopbackServer::Address::Ipv6);
  } catch (const std::runtime_error& failure) {
    GTEST_SKIP() << "this machine has no address ::1: " << failure.what();
  }
  CapturedLog log;
  HttpDataSender sender(server->Url("/v6"));
  EXPECT_EQ(sender.Open(), 0);
  EXPECT_EQ(sender.Send("x", 1, false), 0);
  const auto requests = server->Requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].body, "x");
  const std::string host = "\r\nHost: [::1]:" + std::to_string(server->Port()) + "\r\n";
  EXPECT_NE(requests[0].head.find(host), std::string::npos) << requests[0].head;
}

}  // namespace
}  // namespace Tav::Testing
