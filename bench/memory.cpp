#include <utility>

#include "bench/event_content.h"
#include "bench/footprint.h"
#include "bench/host_library.h"
#include "bench/scenarios.h"

namespace Bench {

void MeasureMemory(const Timing& timing, const Options& options, Results& results) {
  const Load& load = options.load;
  Floor floor;
  const auto copy = [&](double serial, const EventValues& values) { floor.Copy(serial, values); };
  // Touches the memory of the samples before the first measurement.
  LoadTimes times = RunLoad(timing, load, copy);
  const Footprint before = MeasureIdleFootprint();

  HostLibrary library(options.library);
  library.Start(options.gateway, options.scratch);
  ReportEvent(library.Table(), 0, ValuesOf(0));
  library.Drain();
  const Footprint rest = MeasureIdleFootprint();
  times = RunLoad(
      timing, load,
      [&](double serial, const EventValues& values) {
        ReportEvent(library.Table(), serial, values);
      },
      std::move(times));
  library.Drain();
  const Footprint drained = MeasureIdleFootprint();
  library.Stop();
  const Footprint stopped = MeasureIdleFootprint();

  results.AddRound(
      "memory", options.name,
      Pack("{s:i, s:i}", "threads", load.threads, "events_per_thread", load.eventsPerThread),
      Pack("{s:f, s:f, s:f, s:f, s:f}", "process_before_bytes", before.workingSet, "at_rest_bytes",
           rest.workingSet - before.workingSet, "peak_bytes",
           drained.peakWorkingSet - before.workingSet, "drained_bytes",
           drained.workingSet - before.workingSet, "stopped_bytes",
           stopped.workingSet - before.workingSet));
  results.Update("library",
                 Pack("{s:s, s:I, s:f}", "version", library.Table().GetVersion(), "dll_bytes",
                      Count(library.FileSize()), "content_bytes_per_event", ContentBytes()));
}

}  // namespace Bench
