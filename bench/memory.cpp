// Version 2 has GetProcessMemoryInfo in kernel32.
#define PSAPI_VERSION 2
#include <windows.h>

#include <psapi.h>

#include <stdexcept>

#include "bench/event_content.h"
#include "bench/host_library.h"
#include "bench/scenarios.h"

namespace Bench {

namespace {

// Long enough for the session thread to become idle.
constexpr DWORD kIdleMilliseconds = 500;
// Too few to fill a record.
constexpr int kWaitingEvents = 1000;

struct Footprint {
  double workingSet = 0;
  double peakWorkingSet = 0;
};

Footprint MeasureNow() {
  PROCESS_MEMORY_COUNTERS counters = {};
  counters.cb = sizeof counters;
  if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) {
    throw std::runtime_error("cannot measure the process's memory");
  }
  return {static_cast<double>(counters.WorkingSetSize),
          static_cast<double>(counters.PeakWorkingSetSize)};
}

Footprint MeasureWhenIdle() {
  Sleep(kIdleMilliseconds);
  return MeasureNow();
}

}  // namespace

void MeasureMemory(const Timing& timing, const Options& options, Results& results) {
  const Load& load = options.load;
  Floor floor;
  const auto copy = [&](double serial, const EventValues& values) { floor.Copy(serial, values); };
  // Touches the threads' stacks and the samples' memory before the first measurement. Its peak is
  // the floor of the burst.
  LoadTimes times = RunLoad(timing, load, copy);
  const Footprint before = MeasureWhenIdle();

  HostLibrary library(options.library);
  library.Start(options.gateway, options.scratch);
  ReportEvent(library.Table(), 0, ValuesOf(0));
  library.Drain();
  const Footprint rest = MeasureWhenIdle();
  for (int i = 0; i < kWaitingEvents; ++i) {
    ReportEvent(library.Table(), i, ValuesOf(i));
  }
  const Footprint waiting = MeasureWhenIdle();
  library.Drain();
  times = RunLoad(timing, load, [&](double serial, const EventValues& values) {
    ReportEvent(library.Table(), serial, values);
  });
  library.Drain();
  const Footprint drained = MeasureWhenIdle();
  library.Stop();
  const Footprint stopped = MeasureWhenIdle();

  results.AddRound(
      "memory", options.name,
      Pack("{s:i, s:i}", "threads", load.threads, "events_per_thread", load.eventsPerThread),
      Pack("{s:f, s:f, s:f, s:f, s:f, s:f, s:f}", "process_before_bytes", before.workingSet,
           "at_rest_bytes", rest.workingSet - before.workingSet, "waiting_bytes_per_event",
           (waiting.workingSet - rest.workingSet) / kWaitingEvents, "peak_bytes",
           drained.peakWorkingSet - before.workingSet, "floor_peak_bytes",
           before.peakWorkingSet - before.workingSet, "drained_bytes",
           drained.workingSet - before.workingSet, "stopped_bytes",
           stopped.workingSet - before.workingSet));
  results.Update("library",
                 Pack("{s:s, s:I, s:f}", "version", library.Table().GetVersion(), "dll_bytes",
                      Count(library.FileSize()), "content_bytes_per_event", ContentBytes()));
}

}  // namespace Bench
