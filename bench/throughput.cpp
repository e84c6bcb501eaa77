#include <cstdio>
#include <stdexcept>

#include "bench/event_content.h"
#include "bench/gateway_client.h"
#include "bench/host_library.h"
#include "bench/scenarios.h"

namespace Bench {

namespace {

constexpr std::string_view kNullGateway = "null://";

double CountOf(const Json& summary, const char* name) {
  return json_number_value(json_object_get(summary.get(), name));
}

// Adds counts and sizes of what arrived at the gateway.
void AddArrivals(json_t* round, GatewayClient& gateway, int events) {
  const Arrivals arrivals = gateway.CheckArrivals(events);
  const Json summary = gateway.Summary();
  const double arrived = CountOf(summary, "events");
  const double divisor = arrived > 0 ? arrived : 1;
  const Json members = Pack("{s:i, s:i, s:i, s:f, s:f, s:f, s:f}", "lost", arrivals.lost, "doubled",
                            arrivals.doubled, "foreign", arrivals.foreign, "bad_records",
                            CountOf(summary, "bad_records"), "records", CountOf(summary, "records"),
                            "wire_bytes_per_event", CountOf(summary, "bytes_compressed") / divisor,
                            "json_bytes_per_event", CountOf(summary, "bytes_expanded") / divisor);
  json_object_update(round, members.get());
  if (arrivals.lost != 0 || arrivals.doubled != 0 || arrivals.foreign != 0 ||
      CountOf(summary, "bad_records") != 0) {
    std::fprintf(stderr, "of %d events %d are lost, %d doubled, %d unknown\n", events,
                 arrivals.lost, arrivals.doubled, arrivals.foreign);
  }
}

}  // namespace

void MeasureThroughput(const Timing& timing, const Options& options, Results& results) {
  const Load& load = options.load;
  const double events = load.Events();
  Floor floor;
  const LoadTimes floorTimes = RunLoad(
      timing, load, [&](double serial, const EventValues& values) { floor.Copy(serial, values); });

  HostLibrary library(options.library);
  library.Start(options.gateway, options.scratch);
  GatewayClient gateway(options.gateway);
  const bool isCounted = options.gateway != kNullGateway;
  // The first send includes the product's data and the connection set-up.
  library.Table().LogPlace("Start");
  library.Drain();
  if (isCounted) {
    gateway.Reset();
  }
  const Ticks start = ReadTicks();
  const LoadTimes eventTimes = RunLoad(timing, load, [&](double serial, const EventValues& values) {
    ReportEvent(library.Table(), serial, values);
  });
  library.Drain();
  const double seconds = timing.Seconds(ReadTicks() - start);

  Json round = Pack("{s:f, s:f, s:f, s:f}", "seconds", seconds, "events_per_second",
                    events / seconds, "logged_per_second", events / eventTimes.seconds,
                    "floor_per_second", events / floorTimes.seconds);
  if (isCounted) {
    AddArrivals(round.get(), gateway, load.Events());
  }
  library.Stop();
  results.AddRound("throughput", options.name,
                   Pack("{s:i, s:i, s:b}", "threads", load.threads, "events_per_thread",
                        load.eventsPerThread, "counted_at_gateway", isCounted ? 1 : 0),
                   std::move(round));
}

}  // namespace Bench
