#include <iterator>

#include "bench/event_content.h"
#include "bench/host_library.h"
#include "bench/scenarios.h"

namespace Bench {

namespace {

constexpr int kWarmUpEvents = 256;

void Append(CrewTimes& all, const CrewTimes& part) {
  all.samples.insert(all.samples.end(), part.samples.begin(), part.samples.end());
  all.seconds += part.seconds;
}

Json DescribeTimes(const Timing& timing, CrewTimes& times) {
  Json described = Describe(Summarise(timing, times.samples));
  json_object_set_new(described.get(), "events_per_second",
                      json_real(static_cast<double>(times.samples.size()) / times.seconds));
  return described;
}

}  // namespace

void MeasureLatency(const Timing& timing, const Options& options, Results& results) {
  Floor floor;
  HostLibrary library(options.library);
  // Half of the floor before and half after, so that a change in what else the machine does falls
  // on both sides of the comparison.
  Load half = options.load;
  half.eventsPerThread = (half.eventsPerThread + 1) / 2;
  const auto copy = [&](double serial, const EventValues& values) { floor.Copy(serial, values); };
  CrewTimes floorTimes = RunCrew(timing, half, copy);

  library.Start(options.gateway, options.scratch);
  for (int i = 0; i < kWarmUpEvents; ++i) {
    ReportEvent(library.Table(), 0, ValuesOf(0));
  }
  library.Drain();
  CrewTimes eventTimes =
      RunCrew(timing, options.load, [&](double serial, const EventValues& values) {
        ReportEvent(library.Table(), serial, values);
      });
  library.Drain();
  library.Stop();

  Append(floorTimes, RunCrew(timing, half, copy));
  results.AddRound("host_path", options.name,
                   Pack("{s:i, s:i, s:i}", "threads", options.load.threads, "events_per_thread",
                        options.load.eventsPerThread, "pause_ms", options.load.pauseMilliseconds),
                   Pack("{s:o, s:o}", "event", DescribeTimes(timing, eventTimes).release(), "floor",
                        DescribeTimes(timing, floorTimes).release()));
}

}  // namespace Bench
