#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>

#include "gateway/clickhouse_fixture.h"
#include "gateway/store/clickhouse_eraser.h"
#include "gateway/store/clickhouse_rows.h"
#include "gateway/store/clickhouse_writer.h"
#include "gateway/store/forget.h"

namespace Gateway {
namespace {

constexpr char kSession[] = "01234567-89ab-cdef-0123-456789abcdef";

struct Texts {
  std::string product = "Quendel";
  std::string endpoint = "02X0";
  std::string user = "u0";
  std::string name = "open";
  std::string time = "2026-11-02T10:00:00.000Z";
};

// A record with two events, the second with properties.
std::string MakeText(const Texts& texts) {
  const std::string event = R"({"t":")" + texts.time + R"(","s":")" + std::string(kSession) + "\",";
  return R"({"pn":)" + QuoteJson(texts.product) +
         R"(,"pv":"1","pp":"wntx64","sv":"2.8.2.1187559",)" + R"("tv":3,"ep":)" +
         QuoteJson(texts.endpoint) + R"(,"u":)" + QuoteJson(texts.user) + R"(,"pt":{},"rt":[)" +
         event + R"("g":"Start"},)" + event + R"("m":)" + QuoteJson(texts.name) +
         R"(,"v":{"file":)" + QuoteJson(texts.name) + R"(,"size":0.1}}]})";
}

std::string CountOf(const std::string& database, const std::string& view) {
  return Select(database, "SELECT count() FROM " + view);
}

// Whether a file of the server's data folder holds the bytes. Files may vanish meanwhile.
bool IsOnDisk(const std::string& bytes) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::path(FromTestServer("TAV_TEST_CLICKHOUSE_FOLDER"));
  std::error_code error;
  for (fs::recursive_directory_iterator at(folder, error), end; at != end; at.increment(error)) {
    if (!at->is_regular_file(error)) {
      continue;
    }
    std::ifstream file(at->path(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (text.find(bytes) != text.npos) {
      return true;
    }
  }
  return false;
}

TEST(ClickHouseStoreTest, ADoubledRecordCountsOnceAlsoAcrossStores) {
  const auto first = OpenDatabase("doubled");
  const auto second = OpenDatabase("doubled");
  const auto record = ReadText(MakeText({}));
  const auto other = ReadText(MakeText({.name = "close"}));

  const auto results = Deliver(*first, {record, record, other});
  EXPECT_EQ(results[0].outcome, AddOutcome::Stored);
  EXPECT_EQ(results[1].outcome, AddOutcome::Double);
  EXPECT_EQ(results[2].outcome, AddOutcome::Stored);
  EXPECT_EQ(Deliver(*first, {record}).front().outcome, AddOutcome::Double);
  // The other store has not seen it and writes a second copy, which the views hide.
  EXPECT_EQ(Deliver(*second, {record}).front().outcome, AddOutcome::Stored);
  EXPECT_EQ(CountOf("doubled", "record_rows"), "3\n");
  EXPECT_EQ(CountOf("doubled", "event_rows"), "6\n");
  EXPECT_EQ(CountOf("doubled", "records_view"), "2\n");
  EXPECT_EQ(CountOf("doubled", "events_view"), "4\n");
  EXPECT_EQ(Select("doubled", "SELECT events FROM sessions_view"), "4\n");
  EXPECT_EQ(first->Ask("names", {{"product", "Quendel"}}).json,
            R"({"columns":["name","kind","events"],"rows":[)"
            R"(["Start","place",2],["close","event",1],["open","event",1]]})");
}

TEST(ClickHouseStoreTest, EventsWithoutTheirRecordsRowAreInvisible) {
  const auto store = OpenDatabase("orphans");
  const auto record = ReadText(MakeText({}));
  std::string lines;
  MakeClickHouseRecord(*record, *RowsOf(*record)).events.Write(1, lines);
  ClickHouseClient client = ConnectTo("orphans");
  ASSERT_TRUE(
      client.Execute("INSERT INTO event_rows FORMAT JSONEachRow " + lines, std::chrono::seconds(30))
          .IsOk());
  EXPECT_EQ(CountOf("orphans", "event_rows"), "2\n");
  EXPECT_EQ(CountOf("orphans", "events_view"), "0\n");
  // An abandoned attempt with a smaller copy does not hide the one that was committed.
  EXPECT_EQ(Deliver(*store, {record}).front().outcome, AddOutcome::Stored);
  EXPECT_EQ(CountOf("orphans", "event_rows"), "4\n");
  EXPECT_EQ(CountOf("orphans", "events_view"), "2\n");
  EXPECT_EQ(Select("orphans",
                   "SELECT sum(copy = 1) FROM event_rows WHERE (digest, copy) IN "
                   "(SELECT digest, min(copy) FROM record_rows GROUP BY digest)"),
            "0\n");
}

TEST(ClickHouseStoreTest, HostileTextsComeBackUnchanged) {
  const auto store = OpenDatabase("hostile");
  const std::string hostile =
      "'; DROP TABLE event_rows; -- \\' \" \\ \t\r\n\b </script> Größe \U0001F600";
  const std::string text = MakeText({.product = hostile, .name = hostile});
  const auto record = ReadText(text);
  ASSERT_EQ(Deliver(*store, {record}).front().outcome, AddOutcome::Stored);
  const std::string quoted = QuoteJson(hostile);

  EXPECT_EQ(
      store->Ask("values", {{"product", hostile}, {"name", hostile}, {"property", "file"}}).json,
      R"({"columns":["value","events"],"rows":[[)" + quoted + ",1]]}");
  EXPECT_EQ(
      store->Ask("values", {{"product", hostile}, {"name", hostile}, {"property", "size"}}).json,
      R"({"columns":["value","events"],"rows":[[0.1,1]]})");
  const std::string session =
      store->Ask("session", {{"product", hostile}, {"session", kSession}}).json;
  EXPECT_NE(session.find(R"({"file":)" + quoted + R"(,"size":0.1},")" + record->digest),
            session.npos)
      << session;
  EXPECT_NE(store->Ask("record", {{"digest", record->digest}}).json.find(QuoteJson(text)),
            std::string::npos);

  // A body that is neither JSON nor UTF-8 is kept too.
  const auto bytes = ReadText(std::string("\xff\x00\x01{", 4));
  ASSERT_EQ(Deliver(*store, {bytes}).front().outcome, AddOutcome::Stored);
  EXPECT_EQ(Select("hostile",
                   "SELECT hex(text) FROM records_view WHERE record = '" + bytes->digest + "'"),
            "FF00017B\n");
}

TEST(ClickHouseStoreTest, AQuestionThatIsWrongOrFailsSaysSo) {
  const auto store = OpenDatabase("wrong");
  EXPECT_EQ(store->Ask("names", {}).status, 400);
  EXPECT_EQ(store->Ask("record", {{"digest", std::string(64, 'a')}}).status, 404);
  Select("wrong", "DROP TABLE event_rows");
  EXPECT_EQ(store->Ask("names", {{"product", "Quendel"}}).status, 503);
  // The store is judged by its insert: the server itself is well.
  const AddResult result = DeliverText(*store, MakeText({}));
  EXPECT_EQ(result.outcome, AddOutcome::Failed);
  EXPECT_NE(result.reason.find("event_rows"), std::string::npos) << result.reason;
}

TEST(ClickHouseStoreTest, ARefusedRowDoesNotKeepOthersOut) {
  const auto store = OpenDatabase("refused");
  Outcomes outcomes(5);
  {
    std::string error;
    ClickHouseWriter writer(ParseClickHouseUrl(DatabaseUrl("refused"), error).value());
    for (std::size_t i = 0; i < 5; ++i) {
      const auto record = ReadText(MakeText({.name = std::to_string(i)}));
      ClickHouseRecord lines = MakeClickHouseRecord(*record, *RowsOf(*record));
      if (i == 3) {
        lines.events.Add(R"({"time":"never")");
      }
      writer.Add(std::move(lines), outcomes.At(i));
    }
  }
  const auto& results = outcomes.Wait();
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(results[i].outcome, i == 3 ? AddOutcome::Failed : AddOutcome::Stored) << i;
  }
  EXPECT_EQ(CountOf("refused", "records_view"), "4\n");
  EXPECT_EQ(CountOf("refused", "events_view"), "8\n");
}

TEST(ClickHouseStoreTest, ASilentServerFailsWhatWaitsAndTheQueueIsBounded) {
  // Connections succeed, and nobody answers.
  const int silent = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in bound{};
  bound.sin_family = AF_INET;
  bound.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof bound;
  ASSERT_EQ(bind(silent, reinterpret_cast<sockaddr*>(&bound), size), 0);
  ASSERT_EQ(listen(silent, 8), 0);
  ASSERT_EQ(getsockname(silent, reinterpret_cast<sockaddr*>(&bound), &size), 0);
  const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(bound.sin_port)) + "/tav";

  constexpr std::size_t kRecords = 2000;
  Outcomes outcomes(kRecords);
  {
    std::string error;
    ClickHouseWriter writer(ParseClickHouseUrl(url, error).value(),
                            {.maxQueuedRecords = 100, .insertTimeout = std::chrono::seconds(1)});
    for (std::size_t i = 0; i < kRecords; ++i) {
      ClickHouseRecord record{.digest = std::to_string(i), .events = {}, .record = {}};
      record.record.Add("{");
      writer.Add(std::move(record), outcomes.At(i));
    }
  }
  close(silent);
  const auto& results = outcomes.Wait();
  EXPECT_TRUE(std::ranges::all_of(
      results, [](const AddResult& result) { return result.outcome == AddOutcome::Failed; }));
  const auto notTaken =
      std::ranges::count(results, "too many records wait for ClickHouse", &AddResult::reason);
  EXPECT_GT(notTaken, 0);
  EXPECT_LE(notTaken, static_cast<std::ptrdiff_t>(kRecords) - 100);
}

TEST(ClickHouseStoreTest, ForgottenDigestsLeaveNoByteOnTheDisk) {
  const auto store = OpenDatabase("forget");
  const std::string endpoint = "02Xf3c1a7d24b9e0586a1d3f7c92e4b8051d6a9c";
  const std::string user = "4b7e19c03fa862d5e1740b9c8d35f26a";
  Deliver(*store, {ReadText(MakeText({.endpoint = endpoint})), ReadText(MakeText({.user = user})),
                   ReadText(MakeText({.endpoint = endpoint, .name = "close"})),
                   ReadText(MakeText({.endpoint = "02Xkept"}))});
  // Compression leaves the first occurrence of a text without repetitions as it is.
  ASSERT_TRUE(IsOnDisk(endpoint));
  ASSERT_TRUE(IsOnDisk(user));

  std::string error;
  // At the same time, because each waits ten seconds for the server to remove files.
  auto forgetUser = std::async(std::launch::async, [&] {
    std::string userError;
    return store->Forget(user, userError);
  });
  EXPECT_EQ(store->Forget(endpoint, error), 2) << error;
  EXPECT_EQ(forgetUser.get(), 1);
  EXPECT_EQ(CountOf("forget", "records_view"), "1\n");
  EXPECT_EQ(CountOf("forget", "events_view"), "2\n");
  EXPECT_FALSE(IsOnDisk(endpoint));
  EXPECT_FALSE(IsOnDisk(user));
  EXPECT_TRUE(IsOnDisk("02Xkept"));

  EXPECT_EQ(store->Forget(endpoint, error), 0) << error;
  EXPECT_EQ(store->Forget("", error), -1);
  // A mistyped name does not become a database.
  std::FILE* out = std::tmpfile();
  EXPECT_EQ(RunForget({DatabaseUrl("forgte"), 0}, endpoint, out, out), 2);
  EXPECT_EQ(RunForget({DatabaseUrl("forget"), 0}, endpoint, out, out), 1);
  std::fclose(out);
  EXPECT_EQ(Select("forget", "SELECT count() FROM system.databases WHERE name = 'forgte'"), "0\n");
  // It may come again.
  EXPECT_EQ(DeliverText(*store, MakeText({.endpoint = endpoint})).outcome, AddOutcome::Stored);
}

TEST(ClickHouseStoreTest, OldDaysAreDroppedAndOldRecordsNotTaken) {
  const auto forever = OpenDatabase("retention");
  const auto arrivedAt = [&](int daysAgo, const std::string& name) {
    auto record = *ReadText(MakeText({.name = name}));
    record.arrival = std::chrono::system_clock::now() - std::chrono::days(daysAgo);
    return std::make_shared<const Record>(std::move(record));
  };
  Deliver(*forever, {arrivedAt(12, "old"), arrivedAt(9, "young"), arrivedAt(0, "new")});
  ASSERT_EQ(CountOf("retention", "events_view"), "6\n");
  std::string error;
  ClickHouseClient client = ConnectTo("retention");
  EXPECT_TRUE(DropOldDays(client, 10, error)) << error;
  EXPECT_EQ(CountOf("retention", "record_rows"), "2\n");
  EXPECT_EQ(CountOf("retention", "event_rows"), "4\n");

  const auto store = OpenDatabase("retention", 10);
  EXPECT_EQ(DeliverText(*store, MakeText({.time = "2001-01-01T00:00:00.000Z"})).outcome,
            AddOutcome::Expired);
  EXPECT_EQ(CountOf("retention", "record_rows"), "2\n");
}

TEST(ClickHouseClientTest, ReadsUrls) {
  std::string error;
  const auto full = ParseClickHouseUrl("http://us%65r:p%40ss:1@[::1]:81/tav_1", error);
  ASSERT_TRUE(full) << error;
  EXPECT_EQ(full->user + ' ' + full->password + ' ' + full->host + ' ' + full->port + ' ' +
                full->database,
            "user p@ss:1 ::1 81 tav_1");
  for (const char* url :
       {"http://h/", "http://h", "http:///tav", "http://h:0/tav", "http://h:x/tav", "http://h/t;v",
        "https://h/tav", "http://u%0d@h/tav", "http://[::1/tav"}) {
    EXPECT_FALSE(ParseClickHouseUrl(url, error)) << url;
    EXPECT_FALSE(error.empty());
  }
}

TEST(ClickHouseClientTest, AServerThatIsGoneOrRefusesIsAFailureInBoundedTime) {
  std::string error;
  ClickHouseAddress address = ParseClickHouseUrl(DatabaseUrl("tav"), error).value();
  address.password = "wrong";
  EXPECT_GE(ClickHouseClient(address).Post({}, "SELECT 1", std::chrono::seconds(30)).status, 400);
  address.port = "1";
  EXPECT_EQ(ClickHouseClient(address).Post({}, "SELECT 1", std::chrono::seconds(30)).status, 0);
}

}  // namespace
}  // namespace Gateway
