// The benchmarks' host: runs one scenario in this process and adds what it measured to the results,
// or reports on the results of many. tools/bench/bench.sh calls it for each scenario anew.
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
    "scenarios: latency steps requests throughput memory report\n"
    "  --name NAME       what the round is called in the results\n"
    "  --threads N --events N (of each thread) --pause-ms N (before each event)\n"
    "  --gateway URL     default: TAV_TEST_GATEWAY of the environment, else null://\n"
    "  --library PATH    default tav.dll\n"
    "  --results FILE    default results.json\n"
    "  --scratch FOLDER  for what the library keeps on disk\n"
    "  --remark TEXT     for the report\n";

using Scenario = void (*)(const Timing&, const Options&, Results&);

Scenario FindScenario(const std::string& name) {
  static constexpr struct {
    const char* name;
    Scenario run;
  } kScenarios[] = {{"latency", MeasureLatency},
                    {"steps", MeasureSteps},
                    {"requests", CountAllocations},
                    {"throughput", MeasureThroughput},
                    {"memory", MeasureMemory}};
  for (const auto& scenario : kScenarios) {
    if (name == scenario.name) {
      return scenario.run;
    }
  }
  throw std::invalid_argument("no scenario is called " + name);
}

int PositiveNumber(const std::string& text, int least) {
  char* end = nullptr;
  const long number = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || number < least || number > 10'000'000) {
    throw std::invalid_argument("no usable number: " + text);
  }
  return static_cast<int>(number);
}

void SetOption(Options& options, const std::string& option, const std::string& value) {
  if (option == "--name") {
    options.name = value;
  } else if (option == "--threads") {
    options.load.threads = PositiveNumber(value, 1);
  } else if (option == "--events") {
    options.load.eventsPerThread = PositiveNumber(value, 1);
  } else if (option == "--pause-ms") {
    options.load.pauseMilliseconds = PositiveNumber(value, 0);
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
    throw std::invalid_argument("no option is called " + option);
  }
}

Options ReadOptions(int count, char** arguments) {
  if (count < 2 || count % 2 != 0) {
    throw std::invalid_argument("a scenario and options with their values");
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
  // Else a pause of a millisecond takes up to 15 of them.
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
