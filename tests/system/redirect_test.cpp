// Servers that redirect, as the sign-in page of a public network does, to a place that answers 200.
#include <fstream>
#include <iterator>
#include <string>

#include "support/loopback_server.h"
#include "system/host.h"

namespace Tav::Testing {
namespace {

class RedirectTest : public HostTest {
 protected:
  // The next answer of `server` redirects to `path` of the local gateway.
  void Redirect(const char* status, const std::string& path) {
    server.Enqueue({std::string("HTTP/1.1 ") + status + "\r\nLocation: " + GatewayUrl() + path +
                    "\r\nContent-Length: 14\r\n\r\n{\"disabled\":1}"});
  }

  LoopbackServer server;
};

TEST_F(RedirectTest, RedirectedRecordsStayAndAreDeliveredLater) {
  constexpr const char* kStatuses[] = {"302 Found", "301 Moved Permanently", "303 See Other",
                                       "307 Temporary Redirect", "308 Permanent Redirect"};
  UseGateway(server.Url());
  tav_->SetSendInterval(0xFFFFFFFF, TAV_UNIT_SECONDS);  // only Commit sends
  Initialize();
  tav_->LogEvent(tav_->NewEvent("Kept"));
  for (const char* status : kStatuses) {
    Redirect(status, "portal");
    EXPECT_EQ(tav_->Commit(), 1) << status;
  }
  Stop();
  EXPECT_EQ(server.Requests().size(), std::size(kStatuses));
  EXPECT_EQ(GatewayCount("requests"), 0) << "the library followed a redirection";
  EXPECT_FALSE(CacheFiles().empty());

  UseGateway(GatewayUrl());
  RunOnce("Later");
  EXPECT_TRUE(CacheFiles().empty());
  ExpectArrived({"Kept", "Later"});
}

TEST_F(RedirectTest, RedirectedSettingsAreNotRequestedAndNotStored) {
  UseConfigurationServer(server.Url("/configserver/"));
  Redirect("302 Found", "configserver/?N=a&V=b&P=c");
  RunOnce("First");
  ASSERT_TRUE(Eventually([&] { return server.Requests().size() == 1; }));
  EXPECT_EQ(GatewayCount("configuration_requests"), 0);
  std::ifstream file(Folder() / "TavData", std::ios::binary);
  const std::string stored{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  EXPECT_EQ(stored.find("disabled"), std::string::npos) << stored;
  RunOnce("Second");
  ExpectArrived({"First", "Second"});
}

}  // namespace
}  // namespace Tav::Testing
