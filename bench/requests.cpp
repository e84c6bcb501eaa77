// Counts the calls of the DLL to the heap and the system for each event.
#include <stdexcept>

#include "bench/event_content.h"
#include "bench/host_library.h"
#include "bench/import_counter.h"
#include "bench/scenarios.h"

namespace Bench {

namespace {

Json DescribeCounts(const RequestCounts& counts, double events) {
  const auto each = [&](Request request) {
    return static_cast<double>(counts.of[request]) / events;
  };
  return Pack("{s:f, s:f, s:f, s:f, s:f}", "heap_allocations_per_event", each(kHeapAllocate),
              "heap_frees_per_event", each(kHeapFree), "page_allocations_per_event",
              each(kPageAllocate), "page_frees_per_event", each(kPageFree), "wakes_per_event",
              each(kWake));
}

}  // namespace

void CountRequests(const Timing&, const Options& options, Results& results) {
  const Load& load = options.load;
  HostLibrary library(options.library);
  const ImportCounter counter(library.Module());
  library.Start(options.gateway, options.scratch);
  ReportEvent(library.Table(), 0, ValuesOf(0));
  library.Drain();
  // The start of the library allocates on both sides. A count of 0 would mean that the counter does
  // not work.
  const uint64_t atStart = ImportCounter::OnHostThread().of[kHeapAllocate];
  if (atStart == 0 || ImportCounter::OnOtherThreads().of[kHeapAllocate] == 0) {
    throw std::runtime_error("the allocations at the library's start were not counted");
  }

  ImportCounter::Restart();
  for (int i = 0; i < load.eventsPerThread; ++i) {
    if (load.pauseMilliseconds > 0) {
      Sleep(static_cast<DWORD>(load.pauseMilliseconds));
    }
    ReportEvent(library.Table(), i, ValuesOf(i));
  }
  const RequestCounts host = ImportCounter::OnHostThread();
  library.Drain();
  const RequestCounts others = ImportCounter::OnOtherThreads();
  library.Stop();

  const double events = load.eventsPerThread;
  results.AddRound(
      "requests", options.name,
      Pack("{s:i, s:i}", "events", load.eventsPerThread, "pause_ms", load.pauseMilliseconds),
      Pack("{s:I, s:o, s:o}", "heap_allocations_at_start", Count(atStart), "host",
           DescribeCounts(host, events).release(), "library",
           DescribeCounts(others, events).release()));
}

}  // namespace Bench
