#include <algorithm>
#include <utility>

#include "bench/event_content.h"
#include "bench/footprint.h"
#include "bench/gateway_client.h"
#include "bench/host_library.h"
#include "bench/scenarios.h"

namespace Bench {

namespace {

constexpr int kFloorEvents = 20000;

void MeasureGrowth(const Timing& timing, const Options& options, Results& results, bool waits) {
  const Load& load = options.load;
  Floor floor;
  Load floorLoad = load;
  floorLoad.eventsPerThread = std::min(load.eventsPerThread, kFloorEvents);
  LoadTimes times = RunLoad(timing, floorLoad, [&](double serial, const EventValues& values) {
    floor.Copy(serial, values);
  });
  const Percentiles floorTimes = Summarise(timing, times.samples);
  times.samples.assign(static_cast<size_t>(load.Events()), 0);  // before memory is measured
  const Footprint before = MeasureIdleFootprint();

  HostLibrary library(options.library);
  library.Start(options.gateway, options.scratch);
  GatewayClient gateway(options.gateway);
  library.Table().LogPlace("Start");
  library.Drain();
  gateway.Reset();
  if (waits) {
    library.Table().Suspend();
  }
  times = RunLoad(
      timing, load,
      [&](double serial, const EventValues& values) {
        ReportEvent(library.Table(), serial, values);
      },
      std::move(times));
  const Percentiles eventTimes = Summarise(timing, times.samples);
  if (!waits) {
    library.Drain();
  }
  const Footprint after = MeasureIdleFootprint();
  const Ticks start = ReadTicks();
  library.Drain();
  const double drainSeconds = timing.Seconds(ReadTicks() - start);
  const Json summary = gateway.Summary();
  const auto count = [&](const char* name) {
    return json_number_value(json_object_get(summary.get(), name));
  };
  library.Stop();
  results.AddRound(
      "growth", options.name, Pack("{s:i, s:b}", "events", load.Events(), "waits", waits ? 1 : 0),
      Pack("{s:f, s:f, s:f, s:f, s:f, s:f, s:f, s:f}", "event_p50_us", eventTimes.p50,
           "event_p99_us", eventTimes.p99, "floor_p50_us", floorTimes.p50, "floor_p99_us",
           floorTimes.p99, "peak_bytes", after.peakWorkingSet - before.workingSet, "drain_seconds",
           drainSeconds, "lost", load.Events() - count("events"), "bad_records",
           count("bad_records")));
}

}  // namespace

void MeasureGrowthSent(const Timing& timing, const Options& options, Results& results) {
  MeasureGrowth(timing, options, results, false);
}

void MeasureGrowthWaiting(const Timing& timing, const Options& options, Results& results) {
  MeasureGrowth(timing, options, results, true);
}

}  // namespace Bench
