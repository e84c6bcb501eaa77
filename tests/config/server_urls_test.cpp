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

TEST_F(ServerUrlsTest, AGatewayOfTheSettingsMustBeAccepted) {
  const auto chosen = [this](const char* setting, const char* last) {
    return ChooseGateway(setting, last, deployment).source;
  };
  EXPECT_EQ(chosen("https://g/", ""), UrlSource::Server);
  EXPECT_EQ(chosen("http://localhost/", ""), UrlSource::Server);
  EXPECT_EQ(chosen("http://g/", "http://before/"), UrlSource::Server);
  EXPECT_EQ(log.Find("warning"), "");
  EXPECT_EQ(chosen("http://g/", "http://localhost/"), UrlSource::External);
  EXPECT_EQ(chosen("http://g/", "https://before/"), UrlSource::External);
  EXPECT_EQ(chosen("file:///x", "file:///x"), UrlSource::External);
  EXPECT_NE(log.Find("warning: XM: Refused gateway 'http://g/'"), "");
  log.Take();
  SetEnvironment(kGatewayUrlVariable, "file:///y");
  EXPECT_EQ(chosen("file:///x", ""), UrlSource::Environment);
  EXPECT_EQ(log.Take(), std::vector<std::string>()) << "the setting is not used";
}

}  // namespace
}  // namespace Tav::Testing
