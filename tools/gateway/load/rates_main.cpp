// Measures ClickHouse stores, and gateways over HTTP, beside their floors; see the usage text.

#include <unistd.h>
#include <zlib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "gateway/http/client.h"
#include "gateway/load/made_records.h"
#include "gateway/store/clickhouse_client.h"
#include "gateway/store/clickhouse_rows.h"
#include "gateway/store/clickhouse_store.h"

namespace {

using Clock = std::chrono::steady_clock;
using Records = std::vector<std::shared_ptr<const Gateway::Record>>;

constexpr char kUsage[] =
    "usage: gateway_rates clickhouse URL [RECORDS]\n"
    "         adds 20000 made-up records to the ClickHouse store at URL, and inserts the same "
    "rows\n"
    "         by a plain client in the same batches\n"
    "       gateway_rates post URL [RECORDS [CONNECTIONS]]\n"
    "         posts 20000 made-up records to a gateway over 256 connections\n";

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
    records.push_back(std::make_shared<const Gateway::Record>(Gateway::ReadRecord(
        {"/", {}, Gateway::MadeRecord(number, count)}, Gateway::kMaxExpandedBytes, true)));
  }
  return records;
}

void AddToStore(const std::string& url, const Records& records) {
  std::string error;
  const auto store = Gateway::OpenClickHouse(url, 0, error);
  if (store == nullptr) {
    throw std::runtime_error(error);
  }
  std::mutex lock;
  std::condition_variable answered;
  int inFlight = 0;
  int failures = 0;
  const Measurement measurement;
  for (const auto& record : records) {
    {
      std::unique_lock guard(lock);
      answered.wait(guard, [&] { return inFlight < kMaxInFlight; });
      ++inFlight;
    }
    store->Add(record, [&](const Gateway::AddResult& result) {
      const std::scoped_lock guard(lock);
      --inFlight;
      failures += result.outcome == Gateway::AddOutcome::Stored ? 0 : 1;
      answered.notify_one();
    });
  }
  std::unique_lock guard(lock);
  answered.wait(guard, [&] { return inFlight == 0; });
  if (failures > 0) {
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

int MeasurePosts(const std::string& url, std::int64_t count, int connections) {
  const Gateway::HttpClient::Fields headers{{"Content-Type", "application/json; charset=utf-8"},
                                            {"X-SDKVersion", "2.8.2.1187559"},
                                            {"Content-Encoding", "gzip"},
                                            {"X-Compressed", "true"}};
  std::vector<std::string> bodies;
  bodies.reserve(static_cast<std::size_t>(count));
  for (std::int64_t number = 0; number < count; ++number) {
    bodies.push_back(Gzip(Gateway::MadeRecord(number, count)));
  }
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
  if (failures > 0) {
    std::printf("%d were not answered 200\n", failures.load());
  }
  return failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::string command = argc > 2 ? argv[1] : "";
    const std::int64_t count = argc > 3 ? std::atoll(argv[3]) : 20'000;
    if (command == "clickhouse") {
      return MeasureClickHouse(argv[2], count);
    }
    if (command == "post") {
      return MeasurePosts(argv[2], count, argc > 4 ? std::atoi(argv[4]) : 256);
    }
    std::fputs(kUsage, stderr);
    return 2;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "gateway_rates: %s\n", failure.what());
    return 1;
  }
}
