// The whole gateway over loopback connections.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "gateway/certificate.h"
#include "gateway/gateway_fixture.h"

namespace Gateway {
namespace {

std::string Dumped(const json_t* object, const char* key) {
  return DumpJson(json_object_get(object, key));
}

TEST(GatewayTest, StoresRecordsAndListsThem) {
  RunningGateway gateway;
  const std::string good = GoodRecord("one");
  EXPECT_EQ(gateway.Post(good), 200);
  EXPECT_EQ(gateway.Post("[]"), 200);
  EXPECT_EQ(gateway.Post(good), 200);

  const JsonPtr records = gateway.GetJson("/api/records");
  ASSERT_EQ(json_array_size(records.get()), 3U);
  const json_t* first = json_array_get(records.get(), 0);
  EXPECT_EQ(Dumped(first, "record"), good);
  EXPECT_EQ(Dumped(first, "path"), R"("/tavgateway/")");
  EXPECT_EQ(Dumped(json_object_get(first, "headers"), "content-encoding"), R"("gzip")");
  EXPECT_EQ(Dumped(first, "compressed"), std::to_string(Gzip(good).size()));
  EXPECT_EQ(Dumped(first, "valid"), "true");
  const json_t* second = json_array_get(records.get(), 1);
  EXPECT_EQ(Dumped(second, "problems"), R"(["the record is an array instead of an object"])");
  EXPECT_EQ(Dumped(second, "text"), R"("[]")");
  EXPECT_EQ(Dumped(json_array_get(records.get(), 2), "double_of"), "1");

  EXPECT_EQ(DumpJson(gateway.GetJson("/api/summary").get()),
            R"({"records":3,"bad_records":1,"doubled_records":1,"refused":0,"events":6,)"
            R"("sessions":2,"bytes_compressed":)" +
                std::to_string(2 * Gzip(good).size() + Gzip("[]").size()) +
                R"(,"bytes_expanded":)" + std::to_string(2 * good.size() + 2) +
                R"(,"requests":3,"configuration_requests":0,"connections":1})");

  gateway.PostJson("/api/reset", "");
  EXPECT_EQ(gateway.Count("records") + gateway.Count("sessions") + gateway.Count("requests"), 0);
  EXPECT_EQ(gateway.Post(good), 200);
  EXPECT_EQ(gateway.Count("doubled_records"), 0);
}

TEST(GatewayTest, ListsEventsByNameAndPage) {
  RunningGateway gateway;
  for (const char* label : {"one", "two", "three"}) {
    ASSERT_EQ(gateway.Post(GoodRecord(label)), 200);
  }
  EXPECT_EQ(json_array_size(gateway.GetJson("/api/events").get()), 9U);
  const JsonPtr opens = gateway.GetJson("/api/events?name=Viewer_open&from=1");
  ASSERT_EQ(json_array_size(opens.get()), 2U);
  const json_t* entry = json_array_get(opens.get(), 0);
  EXPECT_EQ(Dumped(entry, "record"), "2");
  EXPECT_EQ(Dumped(entry, "component"), R"("Viewer")");
  const json_t* event = json_object_get(entry, "event");
  EXPECT_EQ(Dumped(json_object_get(event, "v"), "label"), R"("two")");
  EXPECT_EQ(json_array_size(gateway.GetJson("/api/records?from=2&limit=5&body=0").get()), 1U);

  HttpClient& client = gateway.Client();
  EXPECT_EQ(client.Get("/api/records/2/text").body, GoodRecord("two"));
  EXPECT_EQ(client.Get("/api/records/3/text?pretty=1").body,
            IndentJson(GoodRecord("three")) + '\n');
  EXPECT_EQ(client.Get("/api/records/4").status, 404);
  EXPECT_EQ(client.Get("/api/events?from=x").status, 400);
  EXPECT_EQ(client.Get("/api/nothing").status, 404);
  EXPECT_EQ(client.Post("/api/faults", "[{]").status, 400);
}

TEST(GatewayTest, AnswersConfigurationRequestsAndOtherGets) {
  ServerOptions options;
  std::optional<std::string> settings = R"({"flush_time":30})";
  options.readSettings = [&] { return settings; };
  RunningGateway gateway(std::move(options));
  HttpClient& client = gateway.Client();
  const auto answer = client.Get("/configserver/?N=a%20b&V=1&P=wntx64");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.body, R"({"flush_time":30})");
  EXPECT_TRUE(answer.headers.find("content-type")->second.starts_with("text/"));
  EXPECT_EQ(client.Get("/configserver/?N=a&V=1").body, "");
  EXPECT_EQ(client.Get("/any/where").status, 200);
  settings.reset();
  EXPECT_EQ(client.Get("/?N=a&V=1&P=x").status, 500);
  EXPECT_EQ(gateway.Count("requests"), 4);
  EXPECT_EQ(gateway.Count("configuration_requests"), 2);
}

TEST(GatewayTest, ServesManyConnectionsAtOnce) {
  std::vector<std::uint64_t> observed;
  ServerOptions options;
  options.events.onRecord = [&](const Record& record) { observed.push_back(record.number); };
  RunningGateway gateway(std::move(options));
  std::vector<std::thread> senders;
  for (int sender = 0; sender < 12; ++sender) {
    senders.emplace_back([&gateway, sender] {
      const auto client = gateway.NewClient();
      for (int i = 0; i < 20; ++i) {
        const std::string label = std::to_string(sender) + '-' + std::to_string(i);
        EXPECT_EQ(RunningGateway::Post(*client, GoodRecord(label)), 200);
      }
    });
  }
  for (std::thread& sender : senders) {
    sender.join();
  }
  EXPECT_EQ(gateway.Count("doubled_records"), 0);
  ASSERT_EQ(observed.size(), 240U);
  for (std::size_t i = 0; i < observed.size(); ++i) {
    ASSERT_EQ(observed[i], i + 1);
  }
}

TEST(GatewayTest, AcceptsBodiesInChunks) {
  RunningGateway gateway;
  const std::string body = Gzip(GoodRecord());
  std::string_view rest = body;
  const auto sendPart = [&rest](const auto& send) {
    send(rest.substr(0, 100));
    rest.remove_prefix(std::min<std::size_t>(100, rest.size()));
    return !rest.empty();
  };
  EXPECT_EQ(gateway.Client().PostChunks("/", sendPart, RecordHeaders()).status, 200);
  EXPECT_EQ(Dumped(gateway.GetJson("/api/records/1").get(), "problems"), "[]");
}

TEST(GatewayTest, SurvivesIncompleteAndForeignRequests) {
  RunningGateway gateway;
  EXPECT_TRUE(gateway.NewClient()->SendRaw(
      "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000\r\n\r\nhalf"));
  // Not split into its parts, as HTTP libraries do: here it is a bad record.
  const std::string form =
      "--x\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\nb\r\n--x--\r\n";
  EXPECT_EQ(gateway.Client()
                .Post("/", form, {{"Content-Type", "multipart/form-data; boundary=x"}})
                .status,
            200);
  EXPECT_EQ(gateway.Client().Post("/", "").status, 200);
  EXPECT_EQ(gateway.Count("records"), 2);
  EXPECT_EQ(gateway.Count("bad_records"), 2);
}

TEST(GatewayTest, RefusesAPortInUse) {
  RunningGateway gateway;
  ServerOptions options;
  options.port = gateway.Get().Port();
  Server second(std::move(options));
  std::string error;
  EXPECT_FALSE(second.Listen(error));
  EXPECT_EQ(error, "cannot listen on 127.0.0.1 port " + std::to_string(gateway.Get().Port()) +
                       ": the address is not this machine's, or another program has the port");
}

TEST(GatewayTest, StopsEvenBeforeItRuns) {
  Server server{ServerOptions{}};
  std::string error;
  ASSERT_TRUE(server.Listen(error)) << error;
  server.Stop();
  server.Run();
}

ServerOptions OptionsFor(bool https) {
  ServerOptions options;
  options.https = https;
  return options;
}

// Each test runs with HTTP and, if the build has TLS, with HTTPS.
class GatewayConnectionsTest : public testing::TestWithParam<bool> {
 protected:
  GatewayConnectionsTest() : gateway(OptionsFor(GetParam())) {}

  // Whether all faults have been taken.
  bool NoFaultsLeft() { return DumpJson(gateway.GetJson("/api/faults").get()) == "[]"; }

  RunningGateway gateway;
};

INSTANTIATE_TEST_SUITE_P(OverLoopback,
                         GatewayConnectionsTest,
                         testing::ValuesIn(HasTls() ? std::vector<bool>{false, true}
                                                    : std::vector<bool>{false}),
                         [](const auto& tested) { return tested.param ? "Https" : "Http"; });

TEST_P(GatewayConnectionsTest, OneCarriesAThousandRecords) {
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(gateway.Post(GoodRecord(std::to_string(i))), 200) << i;
  }
  gateway.Client().SetKeepAlive(false);
  EXPECT_EQ(gateway.Post(GoodRecord("last")), 200);
  EXPECT_EQ(gateway.Count("records"), 1001);
  EXPECT_EQ(gateway.Count("bad_records") + gateway.Count("doubled_records"), 0);
  EXPECT_EQ(gateway.Count("connections"), 1);
}

TEST_P(GatewayConnectionsTest, FaultsApplyToTheNextRequestsOnly) {
  gateway.PostJson("/api/faults",
                   R"([{"kind":"status","status":500,"count":2},{"kind":"status","status":204},)"
                   R"({"kind":"status","status":503,"store":true},{"kind":"drop"},)"
                   R"({"kind":"drop","store":true},{"kind":"delay","milliseconds":80}])");
  EXPECT_EQ(gateway.Client().Get("/?N=a&V=1&P=x").status, 500);
  for (const int status : {500, 204, 503, 0, 0}) {
    EXPECT_EQ(gateway.Post(GoodRecord()), status);
  }
  EXPECT_EQ(gateway.Count("records"), 2);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(gateway.Post(GoodRecord()), 200);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(80));
  EXPECT_EQ(gateway.Post(GoodRecord()), 200);
  EXPECT_EQ(gateway.Count("records"), 4);
  EXPECT_EQ(gateway.Count("refused"), 3);
  EXPECT_EQ(gateway.Count("connections"), 3);  // each drop closes one
}

TEST_P(GatewayConnectionsTest, HangAndDelayFaultsEndOnReset) {
  for (const char* fault : {R"({"kind":"hang"})", R"({"kind":"delay","milliseconds":600000})"}) {
    gateway.PostJson("/api/faults", fault);
    std::atomic<int> status = -1;
    std::thread waiting([&] { status = gateway.Post(GoodRecord()); });
    EXPECT_TRUE(Eventually([&] { return NoFaultsLeft(); }));
    EXPECT_EQ(status, -1);
    // The fault is taken a moment before the wait begins: a single reset could come in between.
    EXPECT_TRUE(Eventually([&] {
      gateway.PostJson("/api/reset", "");
      return status != -1;
    }));
    waiting.join();
    EXPECT_EQ(status, 0) << fault;
    EXPECT_EQ(gateway.Count("records"), 0);
  }
}

TEST_P(GatewayConnectionsTest, HangFaultsCanStoreTheRecord) {
  gateway.PostJson("/api/faults", R"({"kind":"hang","store":true})");
  std::thread waiting([&] { EXPECT_EQ(gateway.Post(GoodRecord()), 0); });
  EXPECT_TRUE(Eventually([&] { return gateway.Count("records") == 1; }));
  gateway.Client().End();
  waiting.join();
  EXPECT_TRUE(NoFaultsLeft());
  EXPECT_EQ(gateway.Count("refused"), 0);
}

TEST_P(GatewayConnectionsTest, EndWithTheGateway) {
  gateway.PostJson("/api/faults", R"([{"kind":"hang"},{"kind":"delay","milliseconds":600000}])");
  std::vector<std::thread> waiting;
  for (int i = 0; i < 2; ++i) {
    waiting.emplace_back(
        [&] { EXPECT_EQ(RunningGateway::Post(*gateway.NewClient(), GoodRecord()), 0); });
  }
  EXPECT_TRUE(Eventually([&] { return NoFaultsLeft(); }));
  gateway.Get().Stop();
  for (std::thread& thread : waiting) {
    thread.join();
  }
}

}  // namespace
}  // namespace Gateway
