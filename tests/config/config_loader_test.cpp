#include "config/config_loader.h"

#include <gtest/gtest.h>

#include "platform/set_environment.h"
#include "support/captured_log.h"
#include "support/eventually.h"
#include "support/loopback_server.h"

namespace Tav::Testing {
namespace {

ConfigLoaderPtr LoaderFor(const std::string& hostUrl) {
  return CreateConfigLoader({"App 1", "2=3", "win64"}, hostUrl, Deployment());
}

class ConfigLoaderTest : public testing::Test {
 protected:
  ~ConfigLoaderTest() override {
    EXPECT_TRUE(Eventually([] { return !Thread::AnyRunning(); }));
  }

  static std::string Load(const std::string& hostUrl) {
    const ConfigLoaderPtr loader = LoaderFor(hostUrl);
    EXPECT_TRUE(loader->Run());
    EXPECT_TRUE(Eventually([&] { return loader->Ended(); }));
    return loader->Answer();
  }

  CapturedLog log;
};

TEST_F(ConfigLoaderTest, UrlNamesServerProductAndPlatform) {
  SetEnvironment("TAV_CONFIGURATOR", "https://variable.invalid/");
  EXPECT_EQ(LoaderFor("https://host.invalid/c/")->Url(),
            "https://host.invalid/c/?N=App%201&V=2%3d3&P=win64");
  EXPECT_EQ(LoaderFor("")->Url(), "https://variable.invalid/?N=App%201&V=2%3d3&P=win64");
  SetEnvironment("TAV_CONFIGURATOR", nullptr);
}

TEST_F(ConfigLoaderTest, AnswerIsTheServersWhateverItsStatus) {
  LoopbackServer server;
  const std::string url = server.Url("/configserver/");
  server.EnqueueStatus("200 OK", "{\"settings\":{}}");
  server.EnqueueStatus("404 Not Found", "no such product");
  server.EnqueueDrop();
  EXPECT_EQ(Load(url), "{\"settings\":{}}");
  EXPECT_TRUE(server.Requests()[0].head.starts_with(
      "GET /configserver/?N=App%201&V=2%3d3&P=win64 HTTP/1.1\r\n"));
  EXPECT_EQ(Load(url), "no such product");
  EXPECT_EQ(log.Find("warning: CL: No settings"), "");
  EXPECT_EQ(Load(url), "");
  EXPECT_EQ(log.Find("warning: CL: No settings"),
            "warning: CL: No settings from '" + url + "'. The present settings stay in force");
  EXPECT_EQ(log.Find("CL: "), "CL: Inside config loader");
  EXPECT_NE(log.Find("CL: Config loader is done"), "");
}

TEST_F(ConfigLoaderTest, OwnerMayReleaseALoaderThatWaitsForItsServer) {
  auto server = std::make_unique<LoopbackServer>();
  server->EnqueueSilence();
  ConfigLoaderPtr loader = LoaderFor(server->Url());
  EXPECT_TRUE(loader->Run());
  EXPECT_TRUE(Eventually([&] { return !server->Requests().empty(); }));
  EXPECT_FALSE(loader->Ended());
  loader.reset();
  EXPECT_TRUE(Thread::AnyRunning());
  server.reset();  // ends the request
}

}  // namespace
}  // namespace Tav::Testing
