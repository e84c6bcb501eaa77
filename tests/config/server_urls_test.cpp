#include "config/server_urls.h"

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
#endif

#include <cstdlib>

#include "support/captured_log.h"

namespace Tav {
namespace {

// Null removes the variable.
void SetVariable(const char* name, const char* value) {
#ifdef _WIN32
  // The C run-time's own function cannot set an empty value.
  SetEnvironmentVariableA(name, value);
#else
  value ? setenv(name, value, 1) : unsetenv(name);
#endif
}

class ServerUrlsTest : public testing::Test {
 protected:
  ServerUrlsTest() { SetVariable(kGatewayUrlVariable, nullptr); }
  ~ServerUrlsTest() override {
    SetVariable(kGatewayUrlVariable, nullptr);
    SetUseDevelopmentUrls(false);
    SetUseInternalUrls(false);
  }

  // The chosen URL and, behind a blank each, its source and what was logged.
  std::string Choose(const std::string& host, const std::string& server) {
    const std::string url =
        ChooseUrl(host, kGatewayUrlVariable, server, "external", "internal", "development");
    std::string result = url + ' ' + std::to_string(static_cast<uint32_t>(LastUrlSource()));
    for (const std::string& line : log.Take()) {
      result += ' ' + line;
    }
    return result;
  }

  Testing::CapturedLog log;
};

TEST_F(ServerUrlsTest, TakesTheFirstSourceThatHasAValue) {
  SetVariable(kGatewayUrlVariable, "environment");
  SetUseDevelopmentUrls(true);
  SetUseInternalUrls(true);
  EXPECT_EQ(Choose("host", "server"), "host 1");
  EXPECT_EQ(Choose("", "server"), "environment 2");
  SetVariable(kGatewayUrlVariable, "");
  EXPECT_EQ(Choose("", "server"), "server 3 Using config URL server");
  EXPECT_EQ(Choose("", ""), "development 4 Using development URL development");
  SetUseDevelopmentUrls(false);
  EXPECT_EQ(Choose("", ""), "internal 5 Using internal URL internal");
  SetUseInternalUrls(false);
  EXPECT_EQ(Choose("", ""), "external 6 Using external URL external");
}

TEST(BuiltInServerUrls, LeaveRoomForAQueryAndKeepTheirPaths) {
  const auto check = [](const char* text, const std::string& path) {
    const std::string url = text;
    EXPECT_TRUE(url.starts_with("https://")) << url;
    EXPECT_EQ(url.substr(url.find('/', 8)), path) << url;
    EXPECT_LT(url.size(), 100u) << url;
  };
  check(kConfigurationUrls.external, "/configserver/");
  check(kConfigurationUrls.internal, "/configserver/");
  check(kConfigurationUrls.development, "/configserver/");
  check(kGatewayUrls.external, "/");
  check(kGatewayUrls.internal, "/tavgateway/");
  check(kGatewayUrls.development, "/tavgateway/");
}

}  // namespace
}  // namespace Tav
