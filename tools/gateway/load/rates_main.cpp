// Measures ClickHouse stores, and gateways over HTTP, beside their floors; --help describes it.

#include <unistd.h>
#include <zlib.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "command_line/command_line.h"
#include "command_line/program.h"
#include "gateway/http/client.h"
#include "gateway/load/feeder.h"
#include "gateway/load/made_records.h"
#include "gateway/store/clickhouse_client.h"
#include "gateway/store/clickhouse_rows.h"
#include "gateway/store/clickhouse_store.h"

namespace {

using Clock = std::chrono::steady_clock;
using Records = std::vector<std::shared_ptr<const Gateway::Record>>;

constexpr int kMaxInFlight = 2000;
constexpr std::size_t kBatch = 1000;  // as in the store

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Processor time in seconds of the test's server; 0 without one.
double ServerTime() {
  const char* folder = std::getenv("TAV_TEST_CLICKHOUSE_FOLDER");
  std::string id;
  std::ifstream(std::string(folder != nullptr ? folder : "") + "/pid") >> id;
  std::ifstream file("/proc/" + id + "/stat");
  std::string text;
  std::getline(file, text);
  // After the name in parentheses, fields 14 and 15 of proc(5).
  std::istringstream fields(text.substr(text.rfind(')') + 1));
  for (int field = 3; field < 14; ++field) {
    fields >> text;
  }
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

double OwnTime() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

// Time and processor time from its construction to Report.
class Measurement {
 public:
  void Report(const char* what, std::size_t records) const {
    const auto count = static_cast<double>(records);
    const double rate = count / SecondsSince(start_);
    std::printf("| %s | %.0f us | %.0f us | %.0f | %.0f |\n", what,
                (OwnTime() - own_) / count * 1e6, (ServerTime() - server_) / count * 1e6, rate,
                rate * Gateway::kEventsPerRecord);
    std::fflush(stdout);
  }

 private:
  Clock::time_point start_ = Clock::now();
  double own_ = OwnTime();
  double server_ = ServerTime();
};

Records MakeRecords(std::int64_t count) {
  Records records;
  for (std::int64_t number = 0; number < count; ++number) {
    records.push_back(Gateway::ReadMadeRecord(number, count));
  }
  return records;
}

void AddToStore(const std::string& url, const Records& records) {
  std::string error;
  const auto store = Gateway::OpenClickHouse(url, 0, error);
  if (store == nullptr) {
    throw std::runtime_error(error);
  }
  const Measurement measurement;
  Gateway::Feeder feeder(*store, kMaxInFlight);
  for (const auto& record : records) {
    feeder.Add(record);
  }
  if (const int failures = feeder.Failures(); failures > 0) {
    throw std::runtime_error(std::to_string(failures) + " records were not stored");
  }
  measurement.Report("into ClickHouse", records.size());
}

void InsertLines(Gateway::ClickHouseClient& client,
                 const std::string& table,
                 const std::string& lines) {
  const auto reply = client.Post("database=" + client.Address().database + "&query=INSERT+INTO+" +
                                     table + "+FORMAT+JSONEachRow",
                                 lines, std::chrono::seconds(60));
  if (!reply.IsOk()) {
    throw std::runtime_error(reply.text);
  }
}

// The rows are written down before the clock starts.
void InsertPlainly(const std::string& url, const Records& records) {
  std::string error;
  const auto address = Gateway::ParseClickHouseUrl(url, error);
  if (!address) {
    throw std::runtime_error(error);
  }
  Gateway::ClickHouseClient client(*address);
  std::vector<std::string> events;
  std::vector<std::string> rows;
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (i % kBatch == 0) {
      events.emplace_back();
      rows.emplace_back();
    }
    const auto lines = Gateway::MakeClickHouseRecord(*records[i], *records[i]->rows);
    lines.events.Write(1, events.back());
    lines.record.Write(1, rows.back());
  }
  const Measurement measurement;
  for (std::size_t batch = 0; batch < events.size(); ++batch) {
    InsertLines(client, "event_rows", events[batch]);
    InsertLines(client, "record_rows", rows[batch]);
  }
  measurement.Report("floor: plain inserts", records.size());
}

int MeasureClickHouse(const std::string& url, std::int64_t count) {
  const Measurement measurement;
  const Records records = MakeRecords(count);
  measurement.Report("read, check, make rows", records.size());
  AddToStore(url, records);
  InsertPlainly(url, records);
  return 0;
}

std::string Gzip(const std::string& text) {
  z_stream stream{};
  deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&stream, static_cast<uLong>(text.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

std::vector<std::string> MakeBodies(std::int64_t count) {
  std::vector<std::string> bodies;
  bodies.reserve(static_cast<std::size_t>(count));
  for (std::int64_t number = 0; number < count; ++number) {
    bodies.push_back(Gzip(Gateway::MadeRecord(number, count)));
  }
  return bodies;
}

// Returns how many were not answered 200.
int Post(const std::string& url, const std::vector<std::string>& bodies, int connections) {
  const Gateway::HttpClient::Fields headers{{"Content-Type", "application/json; charset=utf-8"},
                                            {"X-SDKVersion", "2.8.2.1187559"},
                                            {"Content-Encoding", "gzip"},
                                            {"X-Compressed", "true"}};
  std::atomic<std::size_t> next{0};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(connections));
  const Measurement measurement;
  for (int i = 0; i < connections; ++i) {
    threads.emplace_back([&] {
      Gateway::HttpClient client(url);
      for (std::size_t at = next++; at < bodies.size(); at = next++) {
        failures += client.Post("/tavgateway/", bodies[at], headers).status == 200 ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  measurement.Report(url.c_str(), bodies.size());
  return failures;
}

int MeasurePosts(const std::vector<std::string>& urls, std::int64_t count, int connections) {
  const std::vector<std::string> bodies = MakeBodies(count);
  int status = 0;
  for (const std::string& url : urls) {
    if (const int failures = Post(url, bodies, connections); failures > 0) {
      std::printf("%d were not answered 200\n", failures);
      status = 1;
    }
  }
  return status;
}

}  // namespace

int RunProgram(const std::vector<std::string>& arguments) {
  try {
    std::vector<std::string> urls;
    std::int64_t records = 20'000;
    int connections = 256;
    CLI::App app("Measures ClickHouse stores, and gateways over HTTP, with made-up records.");
    CommandLine::SetRules(app);
    app.require_subcommand(1);
    CLI::App* const clickHouse = app.add_subcommand(
        "clickhouse", "add records to a store, and the same rows by a plain client");
    clickHouse->add_option("URL", urls, "of an empty database")->required()->expected(1);
    CLI::App* const post =
        app.add_subcommand("post", "post the same records to each gateway or other server in turn");
    post->add_option("URL", urls, "one or several")->required();
    post->add_option("--connections", connections, "at the same time (256)")
        ->check(CLI::Range(1, 10'000).description(""));
    for (CLI::App* const command : {clickHouse, post}) {
      command->add_option("--records", records, "how many (20000)")
          ->check(CLI::Range(1, 10'000'000).description(""));
    }
    if (const auto end = CommandLine::EndAfterParsing(app, "gateway_rates", arguments)) {
      return *end;
    }
    return clickHouse->parsed() ? MeasureClickHouse(urls.front(), records)
                                : MeasurePosts(urls, records, connections);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "gateway_rates: %s\n", failure.what());
    return 1;
  }
}
