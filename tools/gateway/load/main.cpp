// Fills stores with made-up records and measures them; --help describes it.

#include <chrono>
#include <cstdio>
#include <ctime>
#include <deque>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/command_line.h"
#include "command_line/program.h"
#include "gateway/load/feeder.h"
#include "gateway/load/made_records.h"
#include "gateway/load/plain_inserts.h"
#include "gateway/received_records.h"
#include "gateway/store/open_store.h"
#include "gateway/store/sqlite_schema.h"

namespace {

using Gateway::Record;
using Records = std::vector<std::shared_ptr<const Record>>;
using Clock = std::chrono::steady_clock;

// As many as a gateway with that many clients.
constexpr int kMaxInFlight = 1000;

std::unique_ptr<Gateway::Store> Open(const std::string& where) {
  std::string error;
  auto store = Gateway::OpenStore({where, 0}, error);
  if (store == nullptr) {
    throw std::runtime_error(error);
  }
  return store;
}

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Prints the rate since it was made or last reported, and the processor time of all threads, which
// depends less on what else the machine does.
class Meter {
 public:
  void Report(const char* what, std::int64_t records) {
    const double count = static_cast<double>(records);
    const double rate = count / SecondsSince(start_);
    const double cpu = static_cast<double>(std::clock() - cpu_) * 1e6 / CLOCKS_PER_SEC / count;
    std::printf("%-22s %8.0f records/s %10.0f events/s %8.0f us of CPU a record\n", what, rate,
                rate * Gateway::kEventsPerRecord, cpu);
    Restart();
  }
  void Restart() {
    start_ = Clock::now();
    cpu_ = std::clock();
  }

 private:
  Clock::time_point start_ = Clock::now();
  std::clock_t cpu_ = std::clock();
};

int Fill(const std::string& where, std::int64_t count) {
  const auto store = Open(where);
  Meter meter;
  Gateway::Feeder feeder(*store, kMaxInFlight);
  for (std::int64_t number = 0; number < count; ++number) {
    feeder.Add(Gateway::ReadMadeRecord(number, count));
  }
  const int failures = feeder.Failures();
  meter.Report("filled, reading too", count);
  return failures == 0 ? 0 : 1;
}

int Ask(const std::string& where) {
  struct Asked {
    const char* text;
    const char* question;
    Gateway::Parameters parameters;
  };
  const std::string day = std::to_string(Gateway::kMadeStart + 14 * 86'400'000LL);
  const std::string nextDay = std::to_string(Gateway::kMadeStart + 15 * 86'400'000LL);
  const std::string session = "00000bb8-0000-4000-8000-000000000bb8";
  const std::vector<Asked> asked = {
      {"products", "products", {}},
      {"events over time, 30 days by hour", "events_over_time", {{"step", "hour"}}},
      {"events over time, a day by minute",
       "events_over_time",
       {{"step", "minute"}, {"from", day}, {"to", nextDay}}},
      {"one name over time, by hour", "events_over_time", {{"name", "Event0"}}},
      {"a version over time, by day", "events_over_time", {{"step", "day"}, {"version", "1.5"}}},
      {"names", "names", {}},
      {"names, commands, one version", "names", {{"kind", "command"}, {"version", "1.5"}}},
      {"properties of an event", "properties", {{"name", "Event0"}}},
      {"values of a property", "values", {{"name", "Event0"}, {"property", "Format"}}},
      {"histogram of a property", "histogram", {{"name", "Event0"}, {"property", "Pages"}}},
      {"newest sessions", "sessions", {}},
      {"one session", "session", {{"session", session}}},
      {"errors", "errors", {}},
      {"before an error", "before_error", {{"session", session}, {"time", nextDay}}},
      {"versions", "environments", {{"what", "version"}}},
      {"languages", "environments", {{"what", "language"}}},
      {"operating systems", "environments", {{"what", "os"}}},
      {"daily endpoints", "daily", {}},
      {"retention by week", "retention", {}},
      {"counters", "counters", {}},
      {"one record", "record", {{"digest", Gateway::ReadMadeRecord(1000, 50'000)->digest}}},
  };
  const auto store = Open(where);
  for (Asked one : asked) {
    one.parameters.emplace("product", "Quendel Writer");
    double best = 1e9;
    Gateway::Answer answer;
    for (int i = 0; i < 3; ++i) {
      const Clock::time_point start = Clock::now();
      answer = store->Ask(one.question, one.parameters);
      best = std::min(best, SecondsSince(start));
    }
    std::printf("| %-36s | %7.1f |%s\n", one.text, best * 1000,
                answer.status == 200 ? "" : answer.json.c_str());
  }
  return 0;
}

int Rates(const std::string& folder, std::int64_t count) {
  Records records;
  Meter meter;
  for (std::int64_t number = 0; number < count; ++number) {
    records.push_back(Gateway::ReadMadeRecord(number, count));
  }
  meter.Report("read and checked", count);

  // A copy, as the gateway has one of its own.
  std::deque<Record> copies;
  for (const auto& record : records) {
    copies.push_back(*record);
  }
  Gateway::ReceivedRecords memory;
  meter.Restart();
  for (Record& record : copies) {
    memory.Add(std::move(record));
  }
  meter.Report("into memory", count);

  const auto fresh = [&](const char* name) {
    const std::string path = folder + '/' + name;
    for (const char* suffix : {"", "-wal", "-shm"}) {
      std::filesystem::remove(path + suffix);
    }
    return path;
  };
  int failures = 0;
  {
    const auto store = Open(fresh("store.db"));
    meter.Restart();
    Gateway::Feeder feeder(*store, kMaxInFlight);
    for (const auto& record : records) {
      feeder.Add(record);
    }
    failures = feeder.Failures();
    meter.Report("into SQLite", count);
  }
  const Gateway::PlainInserts floor(records);
  const std::string path = fresh("floor.db");
  Gateway::Database database(path, Gateway::Database::Access::Write, 0);
  Gateway::PrepareStore(database);
  meter.Restart();
  floor.Write(database);
  meter.Report("floor: plain inserts", count);
  return failures == 0 ? 0 : 1;
}

// The arguments of all commands.
struct Options {
  std::string place;  // a store, or a folder
  std::optional<std::int64_t> records;
};

CLI::App* AddCommand(CLI::App& app,
                     const char* name,
                     const char* what,
                     const char* place,
                     Options& options) {
  CLI::App* const command = app.add_subcommand(name, what);
  command->add_option(place, options.place)->required();
  return command;
}

void AddRecords(CLI::App& command, const char* description, Options& options) {
  command.add_option("RECORDS", options.records, description)
      ->check(CLI::Range(1, 100'000'000).description(""));
}

}  // namespace

int RunProgram(const std::vector<std::string>& arguments) {
  try {
    Options options;
    CLI::App app("Fills gateways' stores with made-up records and measures them.");
    CommandLine::SetRules(app);
    app.require_subcommand(1);
    CLI::App* const fill = AddCommand(app, "fill", "add records to a store", "STORE", options);
    AddRecords(*fill, "how many (50000)", options);
    const CLI::App* const ask = AddCommand(
        app, "ask", "time the page's questions about what fill added, best of 3", "STORE", options);
    CLI::App* const rates = AddCommand(
        app, "rates", "add records to a memory store, to an SQLite store and by plain inserts",
        "FOLDER", options);
    AddRecords(*rates, "how many (10000)", options);
    if (const auto end = CommandLine::EndAfterParsing(app, "gateway_load", arguments)) {
      return *end;
    }
    return fill->parsed()  ? Fill(options.place, options.records.value_or(50'000))
           : ask->parsed() ? Ask(options.place)
                           : Rates(options.place, options.records.value_or(10'000));
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "gateway_load: %s\n", failure.what());
    return 1;
  }
}
