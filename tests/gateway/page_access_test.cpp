// Who may use the page and its API.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "gateway/gateway_fixture.h"

namespace Gateway {
namespace {

constexpr const char* kToken = "a-token-of-20-chars.";

using Fields = HttpClient::Fields;

int ResetStatus(HttpClient& client, const Fields& headers) {
  return client.Post("/api/reset", "", headers).status;
}

TEST(PageAccessTest, RefusesNamesThatResolveToThisMachine) {
  RunningGateway gateway;
  HttpClient& client = gateway.Client();
  for (const char* host : {"evil.example", "evil.example:8080", "127.0.0.1.evil.example",
                           "localhost.evil.example", "[::2]"}) {
    EXPECT_EQ(client.Get("/api/summary", {{"Host", host}}).status, 403) << host;
  }
  for (const char* host : {"localhost:1", "LOCALHOST", "127.0.0.9:8080", "[::1]:8080"}) {
    EXPECT_EQ(client.Get("/api/summary", {{"Host", host}}).status, 200) << host;
  }
  // Programs may upload by any name; a browser's page and readers of the settings may not.
  EXPECT_EQ(client.Post("/", "{}", {{"Host", "gateway.example"}}).status, 200);
  const Fields rebound = {{"Host", "evil.example:8080"}, {"Origin", "http://evil.example:8080"}};
  EXPECT_EQ(client.Post("/", "{}", rebound).status, 403);
  EXPECT_EQ(client.Get("/?N=a&V=1&P=x", {{"Host", "evil.example"}}).status, 403);
  for (const char* host : {"localhost:1", "127.0.0.1:8080", "192.0.2.7", "[::1]:8080"}) {
    EXPECT_EQ(client.Get("/?N=a&V=1&P=x", {{"Host", host}}).status, 200) << host;
  }
}

TEST(PageAccessTest, RefusesOtherPagesInTheSameBrowser) {
  RunningGateway gateway;
  HttpClient& client = gateway.Client();
  const Fields sameOrigin = {{"Host", "localhost:8080"}, {"Origin", "http://localhost:8080"}};
  EXPECT_EQ(ResetStatus(client, sameOrigin), 200);
  EXPECT_EQ(ResetStatus(client, {{"Sec-Fetch-Site", "same-origin"}}), 200);
  const Fields foreign[] = {
      {{"Host", "localhost:8080"}, {"Origin", "http://localhost:9090"}},
      {{"Origin", "null"}},
      {{"Origin", "https://evil.example"}},
      {{"Sec-Fetch-Site", "cross-site"}},
      {{"Sec-Fetch-Site", "same-site"}},
  };
  for (const Fields& headers : foreign) {
    EXPECT_EQ(ResetStatus(client, headers), 403);
    EXPECT_EQ(client.Get("/api/records", headers).status, 403);
    EXPECT_EQ(client.Post("/", "{}", headers).status, 403);
  }
  EXPECT_EQ(gateway.Count("records"), 0);
}

TEST(PageAccessTest, SendsProtectiveHeadersAndNoPermissions) {
  RunningGateway gateway;
  for (const char* path : {"/api/summary", "/login", "/api/nothing"}) {
    const ClientAnswer answer = gateway.Client().Get(path, {{"Origin", "http://a.example"}});
    for (const char* name : {"content-security-policy", "x-content-type-options", "referrer-policy",
                             "cross-origin-resource-policy"}) {
      EXPECT_TRUE(answer.headers.contains(name)) << path << ' ' << name;
    }
    EXPECT_FALSE(answer.headers.contains("access-control-allow-origin"));
  }
}

TEST(PageAccessTest, HasAPortOfItsOwnBesideUploadsFromElsewhere) {
  ServerOptions options;
  options.address = "0.0.0.0";
  options.pagePort = 0;
  RunningGateway gateway(std::move(options));
  HttpClient uploads("http://127.0.0.1:" + std::to_string(gateway.Get().Port()));
  EXPECT_EQ(RunningGateway::Post(uploads, GoodRecord()), 200);
  EXPECT_EQ(uploads.Get("/api/records").status, 404);
  EXPECT_EQ(uploads.Post("/api/reset", "").status, 404);
  EXPECT_EQ(uploads.Get("/?N=a&V=1&P=x").status, 200);
  EXPECT_TRUE(gateway.Get().PageUrl().starts_with("http://127.0.0.1:"));
  HttpClient page(gateway.Get().PageUrl());
  EXPECT_EQ(page.Post("/", "{}").status, 404);
  EXPECT_EQ(gateway.Count("records"), 1);
}

TEST(PageAccessTest, NeedsATokenBeyondLoopback) {
  ServerOptions options;
  options.pagePort = 0;
  options.pageAddress = "0.0.0.0";
  std::string error;
  EXPECT_FALSE(Server(std::move(options)).Listen(error));
  EXPECT_EQ(error, "the page needs a token at 0.0.0.0, which other machines can reach");
}

TEST(PageAccessTest, TakesTheTokenAsBearerOrCookie) {
  ServerOptions options;
  options.token = kToken;
  RunningGateway gateway(std::move(options));
  HttpClient& client = gateway.Client();
  const std::string good = kToken;
  for (const Fields& headers :
       {Fields{}, Fields{{"Authorization", "Bearer wrong"}}, Fields{{"Authorization", good}},
        Fields{{"Cookie", "gateway_token=" + good + "x"}}, Fields{{"Cookie", "x=" + good}}}) {
    EXPECT_EQ(client.Get("/api/summary", headers).status, 401);
  }
  EXPECT_EQ(client.Get("/api/summary", {{"Authorization", "Bearer " + good}}).status, 200);
  // Uploads need none.
  EXPECT_EQ(gateway.Post(GoodRecord()), 200);

  EXPECT_EQ(client.Post("/login", "token=wrong").status, 401);
  EXPECT_EQ(client.Post("/login", "token=" + std::string(5000, 'x')).status, 413);
  const ClientAnswer signedIn = client.Post("/login", "token=" + good);
  EXPECT_EQ(signedIn.status, 303);
  const std::string cookie = signedIn.headers.at("set-cookie");
  EXPECT_NE(cookie.find("HttpOnly; SameSite=Strict"), std::string::npos);
  const std::string pair = cookie.substr(0, cookie.find(';'));
  EXPECT_EQ(client.Get("/api/summary", {{"Cookie", "other=1; " + pair}}).status, 200);
}

TEST(LiveFeedTest, ReachesEveryClientThatFollows) {
  RunningGateway gateway;
  std::vector<std::unique_ptr<HttpClient>> clients;
  for (int i = 0; i < 3; ++i) {
    clients.push_back(gateway.NewClient());
    ASSERT_TRUE(clients.back()->SendRaw("GET /api/live HTTP/1.1\r\nHost: localhost\r\n\r\n"));
  }
  // A client follows from a moment that nobody is told; so events come until all have one.
  for (const auto& client : clients) {
    std::string text;
    EXPECT_TRUE(Eventually([&] {
      gateway.Get().Live().Publish("record", "{\"a\":\n1}");
      text += client->ReadSome(4096);
      return text.find("event: record\ndata: {\"a\":\ndata: 1}\n\n") != std::string::npos;
    })) << text;
    EXPECT_NE(text.find("\r\nContent-Type: text/event-stream\r\n"), std::string::npos);
  }
}

TEST(LiveFeedTest, DropsClientsThatDoNotRead) {
#ifdef _WIN32
  GTEST_SKIP() << "Wine 8 often never completes a write if the socket is closed while it goes on";
#endif
  // Far more than the buffers of both sockets hold.
  constexpr int kEvents = 2000;
  const std::string event(std::size_t{64} * 1024, 'x');
  const std::size_t all = kEvents * event.size();
  for (const auto& [events, bytes] : {std::pair<std::size_t, std::size_t>{10, all},
                                      std::pair<std::size_t, std::size_t>{kEvents, all / 100}}) {
    ServerOptions options;
    options.limits.maxWaitingEvents = events;
    options.limits.maxWaitingEventBytes = bytes;
    RunningGateway gateway(std::move(options));
    LiveFeed& feed = gateway.Get().Live();
    const auto client = gateway.NewClient();
    ASSERT_TRUE(client->SendRaw("GET /api/live HTTP/1.1\r\nHost: localhost\r\n\r\n"));
    EXPECT_TRUE(Eventually([&] { return feed.HasFollowers(); }));
    for (int i = 0; i < kEvents && feed.HasFollowers(); ++i) {
      feed.Publish("record", event);
    }
    EXPECT_TRUE(Eventually([&] { return !feed.HasFollowers(); })) << events << ' ' << bytes;
    EXPECT_EQ(gateway.NewClient()->Get("/").status, 200);
  }
}

}  // namespace
}  // namespace Gateway
