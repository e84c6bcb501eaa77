#include "transport/http_data_sender.h"

#include <gtest/gtest.h>

#include <chrono>

#include "support/captured_log.h"
#include "support/loopback_server.h"

namespace Tav {
namespace {

using Testing::CapturedLog;
using Testing::LoopbackServer;
using Lines = std::vector<std::string>;

constexpr char kOwnHeaders[] =
    "X-SDKVersion: 2.8.2.1187559\r\n"
    "Content-Encoding: gzip\r\n"
    "X-Compressed: true\r\n"
    "Content-Type: application/json; charset=utf-8\r\n";

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class HttpDataSenderTest : public testing::Test {
 protected:
  int32_t Post(HttpDataSender* sender, const std::string& body, bool close = false) {
    EXPECT_EQ(sender->Open(), 0);
    return sender->Send(body.data(), body.size(), close);
  }

  LoopbackServer server;
  CapturedLog log;
};

TEST_F(HttpDataSenderTest, OpensEachPartOnceAndClosesInReverse) {
  HttpDataSender sender(server.Url("/some/path?x=1&y=2"));
  EXPECT_EQ(sender.Open(), 0);
  const std::string port = std::to_string(server.Port());
  EXPECT_EQ(log.Take(), (Lines{"Creating HTTP session",
                               "Cracked url into '127.0.0.1', '/some/path', and '?x=1&y=2'",
                               "Scheme is 1, port is " + port, "Creating HTTP connection"}));
  EXPECT_EQ(sender.Open(), 0);
  EXPECT_EQ(log.Take(), Lines{});

  EXPECT_EQ(sender.Send("x", 1, false), 0);
  EXPECT_EQ(log.Take(),
            (Lines{"Creating HTTP request", "Sending HTTP request", "Getting HTTP response",
                   "Querying HTTP headers", "Response is 200"}));
  sender.Close();
  EXPECT_EQ(log.Take(),
            (Lines{"Closing HTTP request", "Closing HTTP connection", "Closing HTTP session"}));
  sender.Close();
  EXPECT_EQ(log.Take(), Lines{});

  // The URL stays cracked.
  EXPECT_EQ(sender.Open(), 0);
  EXPECT_EQ(log.Take(), (Lines{"Creating HTTP session", "Creating HTTP connection"}));
}

TEST_F(HttpDataSenderTest, PostCarriesBodyAndHeadersAsTheyAre) {
  std::string body(2 * 1024 * 1024, '\0');
  for (size_t i = 0; i < body.size(); ++i) {
    body[i] = static_cast<char>(i * 7 + i / 256);
  }
  HttpDataSender sender(server.Url("/a/b?x=1&y=%20"));
  EXPECT_EQ(Post(&sender, body), 0);

  const auto requests = server.Requests();
  ASSERT_EQ(requests.size(), 1u);
  const std::string& head = requests[0].head;
  EXPECT_TRUE(head.starts_with("POST /a/b?x=1&y=%20 HTTP/1.1\r\n")) << head;
  EXPECT_TRUE(Contains(head, std::string("\r\n") + kOwnHeaders)) << head;
  EXPECT_TRUE(Contains(head, "\r\nAccept: text/*\r\n")) << head;
  EXPECT_TRUE(Contains(head, "\r\nUser-Agent: Analytics/2.8.2.1187559\r\n")) << head;
  EXPECT_TRUE(Contains(head, "\r\nContent-Length: 2097152\r\n")) << head;
  EXPECT_TRUE(Contains(head, "\r\nHost: 127.0.0.1:" + std::to_string(server.Port()))) << head;
  EXPECT_FALSE(Contains(head, "close")) << head;
  EXPECT_TRUE(requests[0].body == body);
}

TEST_F(HttpDataSenderTest, KeepsTheConnectionUntilOneSideClosesIt) {
  server.EnqueueStatus("200 OK", "discarded");
  server.EnqueueStatus("503 Busy", std::string(1000, '.'));
  // Closed as the request demands, then by the server. Both answers say so: a client that sees only
  // the closed connection may have sent its next request before.
  server.Enqueue({"HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 0\r\n\r\n",
                  LoopbackServer::Then::Close});
  server.Enqueue({"HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 0\r\n\r\n",
                  LoopbackServer::Then::Close});
  HttpDataSender sender(server.Url());
  EXPECT_EQ(Post(&sender, "1"), 0);
  EXPECT_EQ(Post(&sender, "2"), 1);
  EXPECT_EQ(Post(&sender, "3", true), 0);
  EXPECT_EQ(Post(&sender, "4"), 0);
  EXPECT_EQ(Post(&sender, "5"), 0);

  const auto requests = server.Requests();
  ASSERT_EQ(requests.size(), 5u);
  EXPECT_EQ(requests[1].connection, requests[0].connection);
  EXPECT_EQ(requests[2].connection, requests[0].connection);
  EXPECT_FALSE(Contains(requests[1].head, "Connection: close"));
  EXPECT_TRUE(Contains(requests[2].head, std::string(kOwnHeaders) + "Connection: close\r\n"))
      << requests[2].head;
  EXPECT_NE(requests[3].connection, requests[2].connection);
  EXPECT_NE(requests[4].connection, requests[3].connection);
}

TEST_F(HttpDataSenderTest, OnlyStatus200IsSuccess) {
  for (const int status : {201, 202, 204, 400, 404, 500}) {
    server.EnqueueStatus(std::to_string(status) + " Whatever");
    HttpDataSender sender(server.Url());
    EXPECT_EQ(Post(&sender, "x"), 1) << status;
    EXPECT_EQ(log.Find("Response is"), "Response is " + std::to_string(status));
    EXPECT_EQ(log.Find("warning"),
              "warning: Response from HTTP is not OK. Got " + std::to_string(status) + " instead");
    log.Take();
  }
}

TEST_F(HttpDataSenderTest, OutcomeTellsARefusedBodyFromAServerThatTakesNone) {
  using Kind = SendOutcome::Kind;
  HttpDataSender sender(server.Url());
  const auto outcome = [&](const std::string& answer) {
    server.Enqueue({answer.empty() ? answer : "HTTP/1.1 " + answer + "Content-Length: 0\r\n\r\n",
                    answer.empty() ? LoopbackServer::Then::Close : LoopbackServer::Then::KeepOpen});
    EXPECT_EQ(Post(&sender, "x"), 1);
    return sender.LastOutcome();
  };
  for (const int status : {400, 403, 404, 413, 422}) {
    const SendOutcome refused = outcome(std::to_string(status) + " No\r\nRetry-After: 7\r\n");
    EXPECT_EQ(refused.kind, Kind::Refused) << status;
    EXPECT_EQ(refused.status, status);
  }
  for (const int status : {204, 302, 401, 407, 408, 429, 500, 503}) {
    EXPECT_EQ(outcome(std::to_string(status) + " No\r\n").kind, Kind::NotReached) << status;
  }
  for (const auto& [text, seconds] : {std::pair{"120", 120},
                                      {"0", 0},
                                      {"3601", 3600},
                                      {"99999999999", 3600},
                                      {"Wed, 21 Oct 2026 07:28:00 GMT", 0}}) {
    const auto answer = outcome(std::string("503 Busy\r\nRetry-After: ") + text + "\r\n");
    EXPECT_EQ(answer.retryAfter, seconds) << text;
  }
  const SendOutcome dropped = outcome("");
  EXPECT_EQ(dropped.kind, Kind::NotReached);
  EXPECT_EQ(dropped.status + dropped.retryAfter, 0);
}

// A long body goes out in several writes.
TEST_F(HttpDataSenderTest, EveryStepOfARequestIsProgress) {
  SendingProgress progress;
  HttpDataSender sender(server.Url());
  sender.ReportTo(&progress);
  EXPECT_EQ(sender.Open(), 0);
  EXPECT_EQ(progress.Last(), 0);
  server.EnqueueSilence();
  sender.LimitWaits(500);
  const std::string body(1000000, 'b');
  EXPECT_EQ(sender.Send(body.data(), body.size(), false), 1);
  EXPECT_GT(progress.Last(), 0);
  EXPECT_EQ(server.Requests().at(0).body, body);
}

TEST_F(HttpDataSenderTest, FetchGetsTheBodyAndClosesEverything) {
  server.EnqueueStatus("200 OK", "{\"settings\":{}}");
  HttpDataSender sender(server.Url("/configserver/?N=a%20b"));
  EXPECT_EQ(sender.Fetch(), "{\"settings\":{}}");

  const auto requests = server.Requests();
  ASSERT_EQ(requests.size(), 1u);
  const std::string& head = requests[0].head;
  EXPECT_TRUE(head.starts_with("GET /configserver/?N=a%20b HTTP/1.1\r\n")) << head;
  EXPECT_TRUE(Contains(head, "\r\nX-SDKVersion: 2.8.2.1187559\r\nConnection: close\r\n")) << head;
  EXPECT_FALSE(Contains(head, "Content-")) << head;
  EXPECT_FALSE(Contains(head, "X-Compressed")) << head;

  const Lines lines = log.Take();
  ASSERT_GE(lines.size(), 4u);
  EXPECT_EQ(Lines(lines.end() - 4, lines.end()),
            (Lines{"Read 15 bytes from server", "Closing HTTP request", "Closing HTTP connection",
                   "Closing HTTP session"}));
}

TEST_F(HttpDataSenderTest, FetchReturnsWhateverBodyThereIs) {
  const std::string thousands(10000, 'z');
  server.EnqueueStatus("200 OK", "the response to a Send is discarded");
  server.EnqueueStatus("404 Not Found", "no such page");
  server.Enqueue({"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nfirst\r\n2710\r\n" +
                  thousands + "\r\n3\r\nend\r\n0\r\n\r\n"});
  server.Enqueue({"HTTP/1.1 200 OK\r\n\r\nuntil the end", LoopbackServer::Then::Close});
  server.EnqueueStatus("204 No Content");
  HttpDataSender sender(server.Url());
  EXPECT_EQ(Post(&sender, "x"), 0);
  EXPECT_EQ(sender.Fetch(), "no such page");
  EXPECT_EQ(sender.Fetch(), "first" + thousands + "end");
  EXPECT_EQ(sender.Fetch(), "until the end");
  EXPECT_EQ(sender.Fetch(), "");
  EXPECT_EQ(log.Find("error"), "");
}

TEST_F(HttpDataSenderTest, RedirectionIsAFailureAndIsNotFollowed) {
  LoopbackServer elsewhere;
  for (const char* status : {"301 Moved Permanently", "302 Found", "303 See Other",
                             "307 Temporary Redirect", "308 Permanent Redirect"}) {
    const LoopbackServer::Answer answer{std::string("HTTP/1.1 ") + status +
                                        "\r\nLocation: " + elsewhere.Url("/portal") +
                                        "\r\nContent-Length: 14\r\n\r\n{\"disabled\":1}"};
    server.Enqueue(answer);
    server.Enqueue(answer);
    HttpDataSender sender(server.Url());
    EXPECT_EQ(Post(&sender, "x"), 1) << status;
    EXPECT_EQ(log.Find("warning"),
              "warning: Response from HTTP is not OK. Got " + std::string(status, 3) + " instead");
    EXPECT_EQ(sender.Fetch(), "") << status;
    EXPECT_EQ(log.Find("error"), "") << status;
    log.Take();
  }
  EXPECT_EQ(elsewhere.Requests().size(), 0u);
}

TEST_F(HttpDataSenderTest, KeepsNoCookieAndAnswersNoChallenge) {
  server.Enqueue({"HTTP/1.1 200 OK\r\nSet-Cookie: id=7; Path=/\r\nContent-Length: 0\r\n\r\n"});
  server.Enqueue(
      {"HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"r\"\r\n"
       "WWW-Authenticate: NTLM\r\nContent-Length: 0\r\n\r\n"});
  HttpDataSender sender(server.Url());
  EXPECT_EQ(Post(&sender, "1"), 0);
  EXPECT_EQ(Post(&sender, "2"), 1);
  EXPECT_EQ(Post(&sender, "3"), 0);
  const auto requests = server.Requests();
  ASSERT_EQ(requests.size(), 3u);
  for (const LoopbackServer::Request& request : requests) {
    EXPECT_FALSE(Contains(request.head, "Cookie:")) << request.head;
    EXPECT_FALSE(Contains(request.head, "Authorization:")) << request.head;
  }
}

TEST_F(HttpDataSenderTest, UrlHasAtMost127CharactersAndKeepsItsBytes) {
  const std::string start = server.Url("/");
  HttpDataSender longest(start + std::string(127 - start.size(), 'p'));
  EXPECT_EQ(Post(&longest, "x"), 0);
  EXPECT_EQ(log.Find("error"), "");
  ASSERT_EQ(server.Requests().size(), 1u);
  EXPECT_TRUE(Contains(server.Requests()[0].head, std::string(127 - start.size(), 'p') + " HTTP"));

  HttpDataSender tooLong(start + std::string(128 - start.size(), 'p'));
  EXPECT_EQ(tooLong.Open(), 1);
  EXPECT_EQ(log.Find("error"), "error: URL too long");
  EXPECT_EQ(tooLong.Fetch(), "");

  HttpDataSender bytes("https://host.invalid:8443/\xC3\xA9/\xFF?q=\xE4");
  log.Take();
  EXPECT_EQ(bytes.Open(), 0);
  EXPECT_EQ(log.Find("Cracked"),
            "Cracked url into 'host.invalid', '/\xC3\xA9/\xFF', and '?q=\xE4'");
  EXPECT_EQ(log.Find("Scheme"), "Scheme is 2, port is 8443");
}

TEST_F(HttpDataSenderTest, UnusableUrlFailsToOpenEachTime) {
  for (const char* url : {"", "nonsense", "ftp://127.0.0.1/x"}) {
    HttpDataSender sender(url);
    EXPECT_EQ(sender.Open(), 1) << url;
    EXPECT_TRUE(log.Find("error").starts_with("error: Cannot crack URL - (00002e")) << url;
    EXPECT_EQ(sender.Open(), 1) << url;
    // Error 6: there is no connection handle.
    EXPECT_EQ(sender.Send("x", 1, false), 1) << url;
    EXPECT_TRUE(log.Find("error: Cannot create")
                    .starts_with("error: Cannot create HTTP request - (00000006)"));
    log.Take();
  }
}

TEST_F(HttpDataSenderTest, RefusedAndDroppedConnectionsAreNamed) {
  HttpDataSender refused("http://127.0.0.1:" + std::to_string(Testing::ClosedPort()) + "/");
  EXPECT_EQ(Post(&refused, "x"), 1);
  EXPECT_TRUE(log.Find("error").starts_with("error: Error sending HTTP request - (00002efd)"))
      << log.Find("error");
  EXPECT_EQ(refused.Fetch(), "");

  log.Take();
  server.EnqueueDrop();
  HttpDataSender sender(server.Url());
  EXPECT_EQ(Post(&sender, "x"), 1);
  EXPECT_TRUE(log.Find("error").starts_with("error: Error receiving HTTP response - (00002f78)"))
      << log.Find("error");
  EXPECT_EQ(Post(&sender, "x"), 0);
}

TEST_F(HttpDataSenderTest, SilentServerTimesOutAtTheLatestLimit) {
  server.EnqueueSilence();
  HttpDataSender sender(server.Url());
  EXPECT_EQ(sender.Open(), 0);
  const auto start = std::chrono::steady_clock::now();
  sender.LimitWaits(1000);  // also reaches requests of a session that is already open
  EXPECT_EQ(sender.Send("x", 1, false), 1);
  EXPECT_TRUE(log.Find("error").starts_with("error: Error receiving HTTP response - ("))
      << log.Find("error");
  sender.LimitWaits(30000);
  EXPECT_EQ(sender.Send("x", 1, false), 0);
  server.EnqueueSilence();
  sender.LimitWaits(0);  // counts as 1 millisecond, not as no limit
  EXPECT_EQ(sender.Send("x", 1, false), 1);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(25))
      << "30 seconds would apply otherwise";
}

TEST_F(HttpDataSenderTest, ReadingOfABodyIsLimitedAsAWhole) {
  server.EnqueueStatus("200 OK", "never read");
  server.EnqueueStatus("200 OK", "never read");
  HttpDataSender sender(server.Url(), 0);
  EXPECT_EQ(Post(&sender, "x"), 0);
  EXPECT_TRUE(log.Find("error").starts_with("error: Error reading http response data - (00002ee2)"))
      << log.Find("error");
  EXPECT_EQ(sender.Fetch(), "");
}

TEST_F(HttpDataSenderTest, FailedReadKeepsStatusAndWhatCame) {
  // One complete piece and an incomplete one.
  const std::string body = std::string(256, 'w') + "not all";
  server.Enqueue({"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + body});
  server.Enqueue({"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n" + body});
  HttpDataSender sender(server.Url());
  sender.LimitWaits(500);
  EXPECT_EQ(Post(&sender, "x"), 0);
  EXPECT_TRUE(log.Find("error").starts_with("error: Error reading http response data - ("))
      << log.Find("error");
  EXPECT_EQ(sender.Fetch(), std::string(256, 'w'));
  EXPECT_EQ(log.Find("Read "), "Read 256 bytes from server");
}

TEST_F(HttpDataSenderTest, ResponseThatIsTooLongIsNotUsed) {
  constexpr size_t kMost = 262144;
  for (const size_t length : {kMost, kMost + 1, kMost + 1000000}) {
    server.EnqueueStatus("200 OK", std::string(length, 'e'));
  }
  server.EnqueueStatus("200 OK", std::string(kMost + 1000000, 'e'));
  HttpDataSender sender(server.Url());
  EXPECT_EQ(sender.Fetch().size(), kMost);
  EXPECT_EQ(log.Find("warning"), "");
  EXPECT_EQ(sender.Fetch().size(), 0u);
  EXPECT_EQ(sender.Fetch().size(), 0u);
  EXPECT_EQ(log.Find("warning"), "warning: Response from HTTP is too long. Stopped reading it");
  EXPECT_EQ(Post(&sender, "x"), 0) << "the status counts";
}

}  // namespace
}  // namespace Tav
