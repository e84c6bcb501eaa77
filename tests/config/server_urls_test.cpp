#include "config/server_urls.h"

#include <gtest/gtest.h>

#include "platform/set_environment.h"
#include "support/captured_log.h"

namespace Tav::Testing {
namespace {

class ServerUrlsTest : public testing::Test {
 protected:
  ServerUrlsTest() { SetEnvironment(kGatewayUrlVariable, nullptr); }
  ~ServerUrlsTest() override { SetEnvironment(kGatewayUrlVariable, nullptr); }

  // The chosen URL, its source and what was logged.
  std::string Choose(const std::string& host, const std::string& server) {
    const ChosenUrl chosen = ChooseUrl(host, kGatewayUrlVariable, server,
                                       {"external", "internal", "development"}, deployment);
    std::string result = chosen.url + ' ' + std::to_string(static_cast<uint32_t>(chosen.source));
    for (const std::string& line : log.Take()) {
      result += ' ' + line;
    }
    return result;
  }

  Deployment deployment;
  CapturedLog log;
};

TEST_F(ServerUrlsTest, TakesTheFirstSourceThatHasAValue) {
  SetEnvironment(kGatewayUrlVariable, "environment");
  deployment.debugFlags = true;
  deployment.internal = true;
  EXPECT_EQ(Choose("host", "server"), "host 1");
  EXPECT_EQ(Choose("", "server"), "environment 2");
  SetEnvironment(kGatewayUrlVariable, "");
  EXPECT_EQ(Choose("", "server"), "server 3 Using config URL server");
  EXPECT_EQ(Choose("", ""), "development 4 Using development URL development");
  deployment.debugFlags = false;
  EXPECT_EQ(Choose("", ""), "internal 5 Using internal URL internal");
  deployment.internal = false;
  EXPECT_EQ(Choose("", ""), "external 6 Using external URL external");
}

}  // namespace
}  // namespace Tav::Testing
