#include "fleet/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <iterator>

namespace Fleet {

namespace {

using Change = std::function<void(Scenario&)>;

// Options that change a value of each scenario: they are applied after the scenarios are known.
class Changes {
 public:
  explicit Changes(CLI::App& app) : app_(app) {}

  template <typename Number>
  void Add(const char* name,
           const char* help,
           int64_t min,
           int64_t max,
           Number& (*value)(Scenario&)) {
    app_.add_option_function<int64_t>(
            name,
            [this, value](int64_t number) {
              list_.push_back(
                  [value, number](Scenario& s) { value(s) = static_cast<Number>(number); });
            },
            help)
        ->check(CLI::Range(min, max));
  }
  void Add(Change change) { list_.push_back(std::move(change)); }

  void ApplyTo(Scenario& scenario) const {
    for (const Change& change : list_) {
      change(scenario);
    }
  }

 private:
  CLI::App& app_;
  std::vector<Change> list_;
};

constexpr int64_t kMaxSeconds = kDay;
constexpr int64_t kMaxBytes = 1 << 30;

void AddFleet(Changes& changes) {
  changes.Add<uint32_t>("--clients", "how many", 1, 20'000'000,
                        [](Scenario& s) -> uint32_t& { return s.clients; });
  changes.Add<uint64_t>("--seed", "of the random numbers", 0, INT64_MAX,
                        [](Scenario& s) -> uint64_t& { return s.seed; });
  changes.Add<int64_t>("--wave-begin", "second of the day from which hosts start", 0, 57600,
                       [](Scenario& s) -> int64_t& { return s.workday.waveBegin; });
  changes.Add<int64_t>("--wave", "seconds in which all hosts start", 0, 14400,
                       [](Scenario& s) -> int64_t& { return s.workday.waveLength; });
  changes.Add<int64_t>("--events", "of a user in a busy hour, mean", 0, 1'000'000,
                       [](Scenario& s) -> int64_t& { return s.workday.eventsPerHour; });
  changes.Add<int64_t>("--busy", "seconds of each 20 minutes in which a user is busy", 1, 1200,
                       [](Scenario& s) -> int64_t& { return s.workday.busy; });
  changes.Add<int64_t>("--rate-of-client", "requests that one client can make in a second", 1, 1000,
                       [](Scenario& s) -> int64_t& { return s.requestsPerSecond; });
  changes.Add<int64_t>("--step", "seconds after which a client is stepped at the latest", 1, kDay,
                       [](Scenario& s) -> int64_t& { return s.step; });
}

void AddRecords(Changes& changes) {
  changes.Add<int64_t>("--record-bytes", "of a record without events, on the wire", 0, kMaxBytes,
                       [](Scenario& s) -> int64_t& { return s.record.wire; });
  changes.Add<int64_t>("--event-bytes", "of an event, on the wire", 0, kMaxBytes,
                       [](Scenario& s) -> int64_t& { return s.record.wirePerEvent; });
  changes.Add<int64_t>("--record-text",
                       "bytes of a record without events, as the library estimates", 0, kMaxBytes,
                       [](Scenario& s) -> int64_t& { return s.record.text; });
  changes.Add<int64_t>("--event-text", "bytes of an event, as the library estimates", 1, kMaxBytes,
                       [](Scenario& s) -> int64_t& { return s.record.textPerEvent; });
}

void AddLibrary(Changes& changes) {
  changes.Add<int>("--send-interval", "seconds; negative: never", -1, kMaxSeconds,
                   [](Scenario& s) -> int& { return s.limits.schedule.sendInterval; });
  changes.Add<int>("--send-threshold", "bytes", 1, kMaxBytes,
                   [](Scenario& s) -> int& { return s.limits.schedule.sendThreshold; });
  changes.Add<int>("--flush-time", "seconds", 0, kMaxSeconds,
                   [](Scenario& s) -> int& { return s.limits.schedule.flushInterval; });
  changes.Add<int>("--pause-time", "seconds", 0, kMaxSeconds,
                   [](Scenario& s) -> int& { return s.limits.schedule.pauseInterval; });
  changes.Add<int>("--resend-time", "seconds", 0, kMaxSeconds,
                   [](Scenario& s) -> int& { return s.limits.schedule.resendTime; });
  changes.Add<int>("--resend-delta", "seconds", 0, kMaxSeconds,
                   [](Scenario& s) -> int& { return s.limits.schedule.resendDelta; });
  changes.Add<int>("--max-record-size", "bytes", 4096, 2 << 20,
                   [](Scenario& s) -> int& { return s.limits.maxRecordSize; });
  changes.Add<int>("--max-memory-size", "bytes", 64, 64 << 20,
                   [](Scenario& s) -> int& { return s.limits.maxMemorySize; });
  changes.Add<int>("--max-cache-size", "files", 1, 2047,
                   [](Scenario& s) -> int& { return s.limits.maxCacheFiles; });
  changes.Add<int>("--max-cache-bytes", "of one cache file", 1, kMaxBytes,
                   [](Scenario& s) -> int& { return s.limits.maxCacheBytes; });
  changes.Add<int64_t>("--interval-spread", "percent by which send intervals differ", 0, 100,
                       [](Scenario& s) -> int64_t& { return s.intervalSpread; });
  changes.Add<int64_t>("--jitter", "what if: percent by which a wait after a failure is longer", 0,
                       1000, [](Scenario& s) -> int64_t& { return s.jitter; });
}

void AddGateways(Changes& changes) {
  changes.Add<int64_t>("--capacity", "requests a second; 0: no limit", 0, kMaxBytes,
                       [](Scenario& s) -> int64_t& { return s.gateways.capacity; });
  changes.Add<int64_t>("--retry-after-min", "seconds that a 503 asks for at least", 0, 3600,
                       [](Scenario& s) -> int64_t& { return s.gateways.minRetryAfter; });
  changes.Add<int64_t>("--retry-after-max", "seconds that a 503 asks for at most", 0, 3600,
                       [](Scenario& s) -> int64_t& { return s.gateways.maxRetryAfter; });
}

std::string Names() {
  std::string text = "Scenarios, all of them unless named:\n";
  for (const Scenario& scenario : Scenarios()) {
    text +=
        "  " + scenario.name + std::string(10 - scenario.name.size(), ' ') + scenario.title + '\n';
  }
  return text;
}

std::vector<Scenario> Chosen(const std::vector<std::string>& names) {
  std::vector<Scenario> chosen;
  std::copy_if(Scenarios().begin(), Scenarios().end(), std::back_inserter(chosen),
               [&names](const Scenario& scenario) {
                 return names.empty() ||
                        std::find(names.begin(), names.end(), scenario.name) != names.end();
               });
  return chosen;
}

// Seconds since the first midnight: "from:to".
Change OutageFrom(const std::string& text) {
  GatewayModel::Outage outage;
  const size_t colon = text.find(':');
  if (colon == std::string::npos ||
      !CLI::detail::lexical_cast(text.substr(0, colon), outage.begin) ||
      !CLI::detail::lexical_cast(text.substr(colon + 1), outage.end) || outage.begin > outage.end) {
    throw CLI::ValidationError("--outage", text + " is not FROM:TO");
  }
  return [outage](Scenario& scenario) { scenario.gateways.outages = {outage}; };
}

void CheckTogether(const Scenario& scenario) {
  if (scenario.gateways.minRetryAfter > scenario.gateways.maxRetryAfter) {
    throw CLI::ValidationError("--retry-after-min", "is above --retry-after-max");
  }
}

}  // namespace

bool ParseOptions(int argc, const char* const* argv, Options& options, int& status) {
  CLI::App app("Simulates a fleet of clients with the library's own send schedule.\n", "fleet");
  app.footer(Names());
  std::vector<std::string> names;
  std::vector<std::string> known;
  for (const Scenario& scenario : Scenarios()) {
    known.push_back(scenario.name);
  }
  app.add_option("SCENARIO", names, "what to simulate")->check(CLI::IsMember(known));
  app.add_option("--csv", options.csvFile, "write the table to this file, too");
  app.add_option("--plots", options.plotFolder, "write fleet-SCENARIO.svg into this folder");
  Changes changes(app);
  AddFleet(changes);
  AddRecords(changes);
  AddLibrary(changes);
  AddGateways(changes);
  app.add_option_function<std::string>(
      "--outage", [&changes](const std::string& text) { changes.Add(OutageFrom(text)); },
      "FROM:TO, seconds since the first midnight in which no gateway can be reached");
  try {
    app.parse(argc, argv);
    options.scenarios = Chosen(names);
    for (Scenario& scenario : options.scenarios) {
      changes.ApplyTo(scenario);
      CheckTogether(scenario);
    }
  } catch (const CLI::ParseError& error) {
    status = app.exit(error) == 0 ? 0 : 2;
    return false;
  }
  return true;
}

}  // namespace Fleet
