// The benchmark program: runs one scenario and adds the measurements to the results file, or prints
// the report. tools/bench/bench.sh starts it for each scenario.
#include <windows.h>

#include <timeapi.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "bench/report.h"
#include "bench/scenarios.h"

namespace {

using namespace Bench;

constexpr char kUsage[] =
    "usage: bench_host SCENARIO [OPTION VALUE]...\n"
    "scenarios: latency steps requests throughput compression memory growth-sent\n"
    "  growth-waiting report\n"
    "  --name NAME       name of the round in the results\n"
    "  --threads N       default 1\n"
    "  --events N        per thread, default 1\n"
    "  --pause-ms N      pause before each group of events, default 0\n"
    "  --group N         events of a group, default 1\n"
    "  --gateway URL     default: environment variable TAV_TEST_GATEWAY, else null://\n"
    "  --library PATH    default tav.dll\n"
    "  --results FILE    default results.json\n"
    "  --scratch FOLDER  for the library's files\n"
    "  --remark TEXT     for the report\n";

using Scenario = void (*)(const Timing&, const Options&, Results&);

Scenario FindScenario(const std::string& name) {
  static constexpr struct {
    const char* name;
    Scenario run;
  } kScenarios[] = {{"latency", MeasureLatency},         {"steps", MeasureSteps},
                    {"requests", CountRequests},         {"throughput", MeasureThroughput},
                    {"compression", MeasureCompression}, {"memory", MeasureMemory},
                    {"growth-sent", MeasureGrowthSent},  {"growth-waiting", MeasureGrowthWaiting}};
  for (const auto& scenario : kScenarios) {
    if (name == scenario.name) {
      return scenario.run;
    }
  }
  throw std::invalid_argument("unknown scenario " + name);
}

int ReadNumber(const std::string& text, int min) {
  char* end = nullptr;
  const long number = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || number < min || number > 10'000'000) {
    throw std::invalid_argument("bad number: " + text);
  }
  return static_cast<int>(number);
}

void SetOption(Options& options, const std::string& option, const std::string& value) {
  if (option == "--name") {
    options.name = value;
  } else if (option == "--threads") {
    options.load.threads = ReadNumber(value, 1);
  } else if (option == "--events") {
    options.load.eventsPerThread = ReadNumber(value, 1);
  } else if (option == "--pause-ms") {
    options.load.pauseMilliseconds = ReadNumber(value, 0);
  } else if (option == "--group") {
    options.load.groupSize = ReadNumber(value, 1);
  } else if (option == "--gateway") {
    options.gateway = value;
  } else if (option == "--library") {
    options.library = value;
  } else if (option == "--results") {
    options.results = value;
  } else if (option == "--scratch") {
    options.scratch = value;
  } else if (option == "--remark") {
    options.remark = value;
  } else {
    throw std::invalid_argument("unknown option " + option);
  }
}

Options ReadOptions(int count, char** arguments) {
  if (count < 2 || count % 2 != 0) {
    throw std::invalid_argument("give a scenario, and options with a value each");
  }
  Options options;
  options.scenario = arguments[1];
  char gateway[256] = "";
  if (GetEnvironmentVariableA("TAV_TEST_GATEWAY", gateway, sizeof gateway) > 0) {
    options.gateway = gateway;
  }
  for (int i = 2; i < count; i += 2) {
    SetOption(options, arguments[i], arguments[i + 1]);
  }
  return options;
}

void RunScenario(const Options& options, Results& results) {
  const Scenario run = FindScenario(options.scenario);
  // Otherwise a pause of 1 ms can take 15 ms.
  timeBeginPeriod(1);
  const Timing timing;
  run(timing, options, results);
  timeEndPeriod(1);
  SYSTEM_INFO system;
  GetSystemInfo(&system);
  results.Update("machine",
                 Pack("{s:i, s:f, s:f}", "processors",
                      static_cast<int>(system.dwNumberOfProcessors), "ticks_per_second",
                      timing.TicksPerSecond(), "clock_overhead_us", timing.OverheadMicroseconds()));
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const Options options = ReadOptions(count, arguments);
    Results results(options.results);
    bool good = true;
    if (options.scenario == "report") {
      good = Report(results, options.remark);
    } else {
      RunScenario(options, results);
    }
    results.Save();
    return good ? 0 : 1;
  } catch (const std::invalid_argument& error) {
    std::fprintf(stderr, "bench_host: %s\n%s", error.what(), kUsage);
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench_host: %s\n", error.what());
    return 1;
  }
}
