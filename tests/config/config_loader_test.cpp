#include "config/config_loader.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "config/server_urls.h"
#include "platform/clock.h"
#include "support/captured_log.h"
#include "support/loopback_server.h"

namespace Tav {
namespace {

using Testing::LoopbackServer;
using Lines = std::vector<std::string>;

class ConfigLoaderTest : public testing::Test {
 protected:
  ~ConfigLoaderTest() override {
    SetHostConfigUrl("");
    const int64_t end = Platform::MonotonicMilliseconds() + 60000;
    while (Thread::AnyRunning() && Platform::MonotonicMilliseconds() < end) {
      Platform::SleepMilliseconds(1);
    }
    EXPECT_FALSE(Thread::AnyRunning());
  }

  // The answer of a loader that is given time to end.
  static std::string Load() {
    const ConfigLoaderPtr loader = CreateConfigLoader("App", "1", "win64");
    EXPECT_TRUE(loader->Run());
    loader->Join(10000);
    EXPECT_TRUE(loader->Ended());
    return loader->Ended() ? loader->Answer() : "still loading";
  }

  Testing::CapturedLog log;
};

TEST_F(ConfigLoaderTest, UrlNamesServerProductAndPlatform) {
  SetHostConfigUrl("https://host.invalid/c/");
  EXPECT_EQ(CreateConfigLoader("Az09-._~", "2025", "")->Url(),
            "https://host.invalid/c/?N=Az09-._~&V=2025&P=");
  EXPECT_EQ(CreateConfigLoader("A B&C/%\xC3\xA9", "1+0=\xFF", "a\nb")->Url(),
            "https://host.invalid/c/?N=A%20B%26C%2f%25%c3%a9&V=1%2b0%3d%ff&P=a%0ab");
  EXPECT_EQ(LastUrlSource(), UrlSource::Host);
  SetHostConfigUrl("https://other.invalid/");
  EXPECT_EQ(CreateConfigLoader("a", "b", "c")->Url(), "https://other.invalid/?N=a&V=b&P=c");
  SetHostConfigUrl("");
  CreateConfigLoader("a", "b", "c");
  EXPECT_NE(LastUrlSource(), UrlSource::Host);
}

TEST_F(ConfigLoaderTest, AnswerIsTheServersWhateverItsStatus) {
  LoopbackServer server;
  SetHostConfigUrl(server.Url("/configserver/"));
  server.EnqueueStatus("200 OK", "{\"settings\":{}}");
  server.EnqueueStatus("404 Not Found", "no such product");
  server.EnqueueDrop();
  EXPECT_EQ(Load(), "{\"settings\":{}}");
  EXPECT_TRUE(
      server.Requests()[0].head.starts_with("GET /configserver/?N=App&V=1&P=win64 HTTP/1.1\r\n"));
  EXPECT_EQ(Load(), "no such product");
  EXPECT_EQ(Load(), "");
}

TEST_F(ConfigLoaderTest, FrameOfTheWorkIsTraced) {
  SetHostConfigUrl("null://");
  EXPECT_EQ(Load(), "");
  Lines lines = log.Take();
  std::erase_if(lines, [](const std::string& line) { return !line.starts_with("CL: "); });
  EXPECT_EQ(lines, (Lines{"CL: Inside config loader", "CL: Config loader is done"}));
}

TEST_F(ConfigLoaderTest, LoaderWhoseServerNeverAnswersCanBeLetGoOf) {
  auto server = std::make_unique<LoopbackServer>();
  server->EnqueueSilence();
  SetHostConfigUrl(server->Url());
  ConfigLoaderPtr loader = CreateConfigLoader("App", "1", "win64");
  EXPECT_TRUE(loader->Run());
  loader->Join(200);
  EXPECT_FALSE(loader->Ended());
  loader.reset();
  EXPECT_TRUE(Thread::AnyRunning());
  server.reset();  // its end is the request's
}

TEST_F(ConfigLoaderTest, HostMayChangeTheUrlAtAnyMoment) {
  std::atomic<bool> done{false};
  std::thread host([&] {
    const std::string url(60, 'h');
    while (!done) {
      SetHostConfigUrl(url);
      SetHostConfigUrl("");
    }
  });
  for (int i = 0; i < 300; ++i) {
    const std::string url = CreateConfigLoader("a", "b", "c")->Url();
    EXPECT_TRUE(url.starts_with("https://") || url.starts_with(std::string(60, 'h') + "?N=a"))
        << url;
  }
  done = true;
  host.join();
}

}  // namespace
}  // namespace Tav
