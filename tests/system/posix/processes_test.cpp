// Several hosts of one user at the same time, and servers that never answer.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "system/posix/durability_fixture.h"

namespace Tav::Testing {
namespace {

class ManyHosts : public HostProcessTest {
 protected:
  static constexpr int kProcesses = 4;

  // Runs four hosts at the same time; returns the names of their events.
  Lines RunTogether(bool withGateway) const {
    std::vector<std::unique_ptr<HostProcess>> hosts;
    for (int i = 0; i < kProcesses; ++i) {
      const std::string prefix = "host" + std::to_string(i);
      hosts.push_back(
          std::make_unique<HostProcess>(withGateway ? Host(prefix) : HostWithoutGateway(prefix)));
    }
    std::string work = "start\nvalue Half done\n";
    for (int i = 0; i < 10; ++i) {
      work += "log 50 300\nsync\n";
    }
    for (const auto& host : hosts) {
      host->Tell(work + "commit\nterminate");
    }
    Lines accepted;
    for (const auto& host : hosts) {
      host->Finish();
      EXPECT_EQ(host->Accepted().size(), 500u);
      accepted.insert(accepted.end(), host->Accepted().begin(), host->Accepted().end());
    }
    return accepted;
  }
};

TEST_F(ManyHosts, LoseAndDoubleNothing) {
  const Lines accepted = RunTogether(true);
  EXPECT_EQ(ReadCache().files, Lines());
  ExpectArrived(accepted);
}

TEST_F(ManyHosts, ShareTheCacheThatALaterRunDelivers) {
  // Everything is stored at once, so that the hosts use the folder at the same time.
  PutSettings(
      R"({"flush_time":0.0,"pause_time":0.0,"max_memory_size":1.0,"max_record_size":9000.0})");
  const Lines accepted = RunTogether(false);
  CacheContents cache = ReadCache();
  EXPECT_EQ(cache.faults, Lines());
  Lines expected = accepted;
  std::sort(expected.begin(), expected.end());
  std::sort(cache.events.begin(), cache.events.end());
  EXPECT_EQ(cache.events, expected);
  EXPECT_EQ(GatewayCount("records"), 0);
  DeliverCache();
  ExpectArrived(accepted);
}

// Accepts connections (the system does) and never answers.
class SilentServer {
 public:
  SilentServer() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(socket_, generic, length), 0);
    EXPECT_EQ(listen(socket_, 16), 0);
    EXPECT_EQ(getsockname(socket_, generic, &length), 0);
    url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + '/';
  }
  ~SilentServer() { close(socket_); }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  const std::string& Url() const { return url_; }
  // Whether a client has connected.
  bool WasUsed() const {
    const int connection = accept(socket_, nullptr, nullptr);
    if (connection >= 0) {
      close(connection);
    }
    return connection >= 0;
  }

 private:
  const int socket_;
  std::string url_;
};

using SilentServers = HostProcessTest;

TEST_F(SilentServers, DelayTerminateForItsTimeOnlyAndLoseNothing) {
  constexpr int kMaxTerminateTime = 15000;  // milliseconds; the time-out of a request is 30 s
  const SilentServer gateway;
  const SilentServer configurator;
  PutSettings(R"({"terminate_time":3.0})");
  HostSettings settings = Host("host");
  settings.gateway = gateway.Url();
  settings.configurator = configurator.Url();
  settings.logLevel = "NOTE";
  HostProcess host(settings);
  host.Tell("start\nlog 100 40");
  host.Await("SM: Connecting to server");
  host.Tell("log 100 40\nterminate");
  const std::string terminated = host.Await("terminated ");
  EXPECT_LT(std::atoi(terminated.substr(terminated.find(' ')).c_str()), kMaxTerminateTime);
  EXPECT_TRUE(gateway.WasUsed());
  EXPECT_TRUE(configurator.WasUsed());
  host.Finish();
  EXPECT_EQ(host.Accepted().size(), 200u);
  EXPECT_EQ(ReadCache().events, host.Accepted());
  DeliverCache();
  ExpectArrived(host.Accepted());
}

}  // namespace
}  // namespace Tav::Testing
