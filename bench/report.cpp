#include "bench/report.h"

#include <cstdio>
#include <iterator>

namespace Bench {

namespace {

struct Row {
  const char* scenario;
  const char* title;
};

constexpr Row kHostPath[] = {{"blast_1", "full blast, 1 thread"},
                             {"blast_4", "full blast, 4 threads"},
                             {"paced_1", "1 a ms, 1 thread"},
                             {"paced_4", "1 a ms, 4 threads"}};
constexpr Row kStepRuns[] = {{"blast_1", "full blast, 1 thread"},
                             {"blast_4", "full blast, 4 threads"},
                             {"paced_1", "1 a ms, 1 thread"}};
constexpr Row kSteps[] = {{"new_event", "NewEvent"},
                          {"first_string", "AddEventProperty, first"},
                          {"further_string", "AddEventProperty, further"},
                          {"number", "AddNumericEventProperty"},
                          {"log_event", "LogEvent"}};
constexpr Row kPaces[] = {{"blast", "full blast"}, {"paced", "1 a ms"}};
constexpr Row kGateways[] = {{"null", "nowhere (null://)"},
                             {"http", "gateway, HTTP"},
                             {"https", "gateway, HTTPS"}};
constexpr Row kGrowth[] = {
    {"sent_10000", "the gateway takes them"}, {"sent_100000", ""},    {"sent_1000000", ""},
    {"waiting_10000", "nothing may be sent"}, {"waiting_100000", ""}, {"waiting_1000000", ""}};
constexpr char kCompression[] = "level9";
constexpr char kMemory[] = "burst";
constexpr int kMaxLibraryBytes = 409600;

// What an event may cost the host at full blast.
struct Limit {
  const char* scenario;
  const char* key;
  double microseconds;
};
constexpr Limit kBudget[] = {{"blast_1", "p50_us", 2},
                             {"blast_1", "p99_us", 20},
                             {"blast_4", "p50_us", 2},
                             {"blast_4", "p99_us", 170}};

bool isComplete = true;

// The scenario's medians; null, with a line in the table, if it was not measured.
json_t* Median(json_t* root, const char* section, const char* scenario) {
  json_t* const median = Find(root, section, scenario, "median");
  if (median == nullptr) {
    std::printf("  !! not measured: %s %s\n", section, scenario);
    isComplete = false;
  }
  return median;
}

void PrintTimes(const char* title, const char* what, json_t* times) {
  std::printf("  %-22s %-6s %9.2f %9.2f %9.2f %11.2f %12.0f\n", title, what,
              Number(times, "p50_us"), Number(times, "p99_us"), Number(times, "p999_us"),
              Number(times, "max_us"), Number(times, "events_per_second"));
}

void PrintRatios(json_t* ratio) {
  std::printf("  %-22s %-6s %9.1f %9.1f %9.1f %10.1f %11.3f\n", "", "ratio",
              Number(ratio, "p50_us"), Number(ratio, "p99_us"), Number(ratio, "p999_us"),
              Number(ratio, "max_us"), Number(ratio, "events_per_second"));
}

void PrintHostPath(json_t* root) {
  std::printf(
      "\nWhat one event costs the host's thread, in microseconds: NewEvent, 5 strings, 2\n"
      "numbers, LogEvent. Floor: the same bytes copied under a critical section.\n\n"
      "  %-22s %-6s %9s %9s %9s %10s %11s\n",
      "", "", "p50", "p99", "p99.9", "max", "events/s");
  for (const Row& row : kHostPath) {
    if (json_t* const median = Median(root, "host_path", row.scenario)) {
      PrintTimes(row.title, "event", Find(median, "event"));
      PrintTimes("", "floor", Find(median, "floor"));
      PrintRatios(Find(root, "host_path", row.scenario, "ratio"));
    }
  }
}

void PrintSteps(json_t* root) {
  std::printf("\nIts single calls, in microseconds\n\n  %-26s", "");
  for (const Row& row : kStepRuns) {
    std::printf("  %-21s", row.title);
  }
  std::printf("\n  %-26s", "");
  json_t* medians[std::size(kStepRuns)] = {};
  for (size_t run = 0; run < std::size(kStepRuns); ++run) {
    std::printf("%9s %9s    ", "p50", "p99");
    medians[run] = Find(root, "steps", kStepRuns[run].scenario, "median");
  }
  std::printf("\n");
  for (const Row& row : kSteps) {
    std::printf("  %-26s", row.title);
    for (json_t* const median : medians) {
      std::printf("%9.2f %9.2f    ", Number(median, row.scenario, "p50_us"),
                  Number(median, row.scenario, "p99_us"));
    }
    std::printf("\n");
  }
  for (const Row& row : kStepRuns) {
    Median(root, "steps", row.scenario);
  }
}

void PrintRequests(json_t* root) {
  std::printf(
      "\nWhat tav.dll asks of the system for each event (floor: nothing)\n\n"
      "  %-22s %-8s %10s %10s %11s %11s %10s\n",
      "", "thread", "heap alloc", "heap free", "page alloc", "page free", "SetEvent");
  for (const Row& row : kPaces) {
    json_t* const median = Median(root, "requests", row.scenario);
    if (median == nullptr) {
      continue;
    }
    for (const char* const side : {"host", "library"}) {
      json_t* const counts = Find(median, side);
      std::printf("  %-22s %-8s %10.4f %10.4f %11.4f %11.4f %10.4f\n", row.title, side,
                  Number(counts, "heap_allocations_per_event"),
                  Number(counts, "heap_frees_per_event"),
                  Number(counts, "page_allocations_per_event"),
                  Number(counts, "page_frees_per_event"), Number(counts, "wakes_per_event"));
    }
  }
}

// True if nothing was lost, doubled or damaged.
bool PrintThroughput(json_t* root) {
  bool isWhole = true;
  std::printf(
      "\nEvents from the host to the other end, 4 threads at full blast until all is sent\n\n"
      "  %-22s %10s %10s %11s %6s %6s %8s %10s %10s\n",
      "", "events", "events/s", "floor/s", "ratio", "lost", "wrong", "wire B/ev", "JSON B/ev");
  for (const Row& row : kGateways) {
    json_t* const median = Median(root, "throughput", row.scenario);
    if (median == nullptr) {
      continue;
    }
    json_t* const scenario = Find(root, "throughput", row.scenario);
    const double rate = Number(median, "events_per_second");
    const double floor = Number(median, "floor_per_second");
    std::printf("  %-22s %10.0f %10.0f %11.0f %6.3f", row.title,
                Number(scenario, "threads") * Number(scenario, "events_per_thread"), rate, floor,
                floor > 0 ? rate / floor : 0);
    if (!json_is_true(Find(scenario, "counted_at_gateway"))) {
      std::printf(" %6s %8s   none that the library knows of\n", "-", "-");
      continue;
    }
    const double lost = Number(median, "lost");
    const double others =
        Number(median, "doubled") + Number(median, "foreign") + Number(median, "bad_records");
    std::printf(" %6.0f %8.0f %10.1f %10.1f\n", lost, others,
                Number(median, "wire_bytes_per_event"), Number(median, "json_bytes_per_event"));
    isWhole = isWhole && lost == 0 && others == 0;
  }
  if (json_t* const zlib = Median(root, "compression", kCompression)) {
    std::printf("  %-22s %10.0f %10.0f %49.1f %10.1f\n", "zlib -9 alone, 1 thread",
                Number(root, "compression", kCompression, "events"),
                Number(zlib, "events_per_second"), Number(zlib, "wire_bytes_per_event"),
                Number(zlib, "json_bytes_per_event"));
  }
  return isWhole;
}

// True if nothing was lost or damaged.
bool PrintGrowth(json_t* root) {
  bool isWhole = true;
  std::printf(
      "\nWhile the number of events grows: 1 thread, 20 events a ms\n\n"
      "  %-22s %10s %9s %9s %9s %9s %10s %10s %6s\n",
      "", "events", "p50, us", "p99, us", "p50/floor", "p99/floor", "peak, KB", "Commit, s",
      "lost");
  for (const Row& row : kGrowth) {
    json_t* const median = Median(root, "growth", row.scenario);
    if (median == nullptr) {
      continue;
    }
    const auto ratio = [&](const char* event, const char* floor) {
      const double divisor = Number(median, floor);
      return divisor > 0 ? Number(median, event) / divisor : 0;
    };
    std::printf("  %-22s %10.0f %9.2f %9.2f %9.1f %9.1f %10.0f %10.2f %6.0f\n", row.title,
                Number(root, "growth", row.scenario, "events"), Number(median, "event_p50_us"),
                Number(median, "event_p99_us"), ratio("event_p50_us", "floor_p50_us"),
                ratio("event_p99_us", "floor_p99_us"), Number(median, "peak_bytes") / 1024,
                Number(median, "drain_seconds"), Number(median, "lost"));
    isWhole = isWhole && Number(median, "lost") == 0 && Number(median, "bad_records") == 0;
  }
  return isWhole;
}

void PrintMemory(json_t* root) {
  json_t* const median = Median(root, "memory", kMemory);
  json_t* const scenario = Find(root, "memory", kMemory);
  const auto kilobytes = [&](const char* key) { return Number(median, key) / 1024; };
  std::printf("\nMemory, KB of working set beyond that of the process without the library\n\n");
  std::printf("  at rest                           %10.0f\n", kilobytes("at_rest_bytes"));
  std::printf("  peak of a burst of %-6.0f events  %10.0f\n",
              Number(scenario, "threads") * Number(scenario, "events_per_thread"),
              kilobytes("peak_bytes"));
  std::printf("  after it was sent                 %10.0f\n", kilobytes("drained_bytes"));
  std::printf("  after Terminate                   %10.0f\n", kilobytes("stopped_bytes"));
  std::printf("  tav.dll, bytes                    %10.0f   (aim: below %d)\n",
              Number(root, "library", "dll_bytes"), kMaxLibraryBytes);
}

void PrintLoad(json_t* root) {
  json_t* const median = Median(root, "load", "first");
  const auto milliseconds = [&](const char* key) { return Number(median, key) / 1000; };
  std::printf("\nThe start on the host's thread, in milliseconds\n\n");
  std::printf("  loading tav.dll                   %10.2f   (floor, any DLL: %.2f)\n",
              milliseconds("load_us"), milliseconds("plain_us"));
  std::printf("  Initialize                        %10.2f\n", milliseconds("initialize_us"));
  std::printf("  both                              %10.2f   (%.1f times the floor)\n",
              milliseconds("total_us"), Number(median, "ratio"));
  std::printf("  first event                       %10.2f\n", milliseconds("first_event_us"));
}

void PrintBudget(json_t* root) {
  json_t* const budget = json_array();
  json_object_set_new(root, "budget", budget);
  std::printf("\nBudget of the host path\n\n");
  for (const Limit& limit : kBudget) {
    json_t* const event = Find(root, "host_path", limit.scenario, "median", "event");
    const double value = Number(event, limit.key);
    const bool isMet = event != nullptr && value <= limit.microseconds;
    std::printf("  %-8s %-7s at most %5.0f us: %8.2f  %s\n", limit.scenario, limit.key,
                limit.microseconds, value, isMet ? "met" : "NOT MET");
    json_array_append_new(
        budget, Pack("{s:s, s:s, s:f, s:f, s:b}", "scenario", limit.scenario, "key", limit.key,
                     "limit", limit.microseconds, "value", value, "met", isMet ? 1 : 0)
                    .release());
  }
}

}  // namespace

bool Report(Results& results, const std::string& remark) {
  json_t* const root = results.Root();
  for (const char* const section : {"load", "host_path", "steps", "requests", "throughput",
                                    "compression", "growth", "memory"}) {
    AddMedians(Find(root, section));
  }
  AddRatios(Find(root, "host_path"));
  results.Update("machine", Pack("{s:s}", "remark", remark.c_str()));

  std::printf("tav.dll %s; %.0f processors; taking the time costs %.3f us; medians of the rounds\n",
              json_string_value(Find(root, "library", "version")),
              Number(root, "machine", "processors"), Number(root, "machine", "clock_overhead_us"));
  if (!remark.empty()) {
    std::printf("%s\n", remark.c_str());
  }
  PrintLoad(root);
  PrintHostPath(root);
  PrintSteps(root);
  PrintRequests(root);
  const bool isThroughputWhole = PrintThroughput(root);
  const bool isWhole = PrintGrowth(root) && isThroughputWhole;
  PrintMemory(root);
  PrintBudget(root);
  if (!isWhole) {
    std::printf("\n!! events were lost, doubled or damaged\n");
  }
  return isComplete && isWhole;
}

}  // namespace Bench
