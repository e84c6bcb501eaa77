// The time that an event costs the host's thread, as a whole and call by call.
#include <vector>

#include "bench/event_content.h"
#include "bench/host_library.h"
#include "bench/scenarios.h"

namespace Bench {

namespace {

constexpr int kWarmUpEvents = 256;

void Append(LoadTimes& all, const LoadTimes& part) {
  all.samples.insert(all.samples.end(), part.samples.begin(), part.samples.end());
  all.seconds += part.seconds;
}

Json DescribeTimes(const Timing& timing, LoadTimes& times) {
  Json described = Describe(Summarise(timing, times.samples));
  json_object_set_new(described.get(), "events_per_second",
                      json_real(static_cast<double>(times.samples.size()) / times.seconds));
  return described;
}

Json DescribeLoad(const Load& load) {
  return Pack("{s:i, s:i, s:i}", "threads", load.threads, "events_per_thread", load.eventsPerThread,
              "pause_ms", load.pauseMilliseconds);
}

// In the order of an event's life. The first property makes the object for all properties, so it
// has its own step.
enum Step { kNewEvent, kFirstString, kFurtherString, kNumber, kLogEvent, kStepCount };
constexpr const char* kStepNames[kStepCount] = {"new_event", "first_string", "further_string",
                                                "number", "log_event"};

class StepTimes {
 public:
  explicit StepTimes(size_t events) {
    for (std::vector<Ticks>& samples : samples_) {
      // Touches the memory now, so that its page faults are not measured.
      samples.assign(events * kStringCount, 0);
      samples.clear();
    }
  }

  void Begin() { last_ = ReadTicks(); }
  void End(Step step) {
    const Ticks now = ReadTicks();
    samples_[step].push_back(now - last_);
    last_ = ReadTicks();
  }
  const std::vector<Ticks>& Samples(int step) const { return samples_[step]; }

 private:
  std::vector<Ticks> samples_[kStepCount];
  Ticks last_ = 0;
};

void ReportInSteps(const TavEntryTable& tav,
                   double serial,
                   const EventValues& values,
                   StepTimes& times) {
  times.Begin();
  TavEvent_s* const event = tav.NewEvent(kEventName);
  times.End(kNewEvent);
  for (int i = 0; i < kStringCount; ++i) {
    tav.AddEventProperty(event, kStringNames[i], values.strings[i]);
    times.End(i == 0 ? kFirstString : kFurtherString);
  }
  tav.AddNumericEventProperty(event, kSerialName, serial);
  times.End(kNumber);
  tav.AddNumericEventProperty(event, kDurationName, values.duration);
  times.End(kNumber);
  tav.LogEvent(event);
  times.End(kLogEvent);
}

}  // namespace

void MeasureLatency(const Timing& timing, const Options& options, Results& results) {
  Floor floor;
  HostLibrary library(options.library);
  // Half of the floor before and half after the events, so that changes in the machine's other load
  // affect both sides of the comparison.
  Load half = options.load;
  half.eventsPerThread = (half.eventsPerThread + 1) / 2;
  const auto copy = [&](double serial, const EventValues& values) { floor.Copy(serial, values); };
  LoadTimes floorTimes = RunLoad(timing, half, copy);

  library.Start(options.gateway, options.scratch);
  for (int i = 0; i < kWarmUpEvents; ++i) {
    ReportEvent(library.Table(), 0, ValuesOf(0));
  }
  library.Drain();
  LoadTimes eventTimes =
      RunLoad(timing, options.load, [&](double serial, const EventValues& values) {
        ReportEvent(library.Table(), serial, values);
      });
  library.Drain();
  library.Stop();

  Append(floorTimes, RunLoad(timing, half, copy));
  results.AddRound("host_path", options.name, DescribeLoad(options.load),
                   Pack("{s:o, s:o}", "event", DescribeTimes(timing, eventTimes).release(), "floor",
                        DescribeTimes(timing, floorTimes).release()));
}

void MeasureSteps(const Timing& timing, const Options& options, Results& results) {
  const Load& load = options.load;
  std::vector<StepTimes> times;
  times.reserve(static_cast<size_t>(load.threads));
  for (int thread = 0; thread < load.threads; ++thread) {
    times.emplace_back(static_cast<size_t>(load.eventsPerThread));
  }
  HostLibrary library(options.library);
  library.Start(options.gateway, options.scratch);
  ReportEvent(library.Table(), 0, ValuesOf(0));
  library.Drain();
  RunLoad(timing, load, [&](double serial, const EventValues& values) {
    const auto thread = static_cast<size_t>(serial) / static_cast<size_t>(load.eventsPerThread);
    ReportInSteps(library.Table(), serial, values, times[thread]);
  });
  library.Drain();
  library.Stop();

  Json round = Pack("{}");
  for (int step = 0; step < kStepCount; ++step) {
    std::vector<Ticks> samples;
    for (const StepTimes& ofThread : times) {
      const std::vector<Ticks>& part = ofThread.Samples(step);
      samples.insert(samples.end(), part.begin(), part.end());
    }
    json_object_set_new(round.get(), kStepNames[step],
                        Describe(Summarise(timing, samples)).release());
  }
  results.AddRound("steps", options.name, DescribeLoad(load), std::move(round));
}

}  // namespace Bench
