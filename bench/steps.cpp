#include <vector>

#include "bench/event_content.h"
#include "bench/host_library.h"
#include "bench/scenarios.h"

namespace Bench {

namespace {

// In the order of an event's life; the later properties go to their own step, because the first
// one makes the object that all stand in.
enum Step { kNewEvent, kFirstString, kFurtherString, kNumber, kLogEvent, kStepCount };
constexpr const char* kStepNames[kStepCount] = {"new_event", "first_string", "further_string",
                                                "number", "log_event"};

class StepTimes {
 public:
  explicit StepTimes(size_t events) {
    for (std::vector<Ticks>& samples : samples_) {
      // Touched now, so that no page fault of the benchmark's own is measured.
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
  RunCrew(timing, load, [&](double serial, const EventValues& values) {
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
  results.AddRound("steps", options.name,
                   Pack("{s:i, s:i, s:i}", "threads", load.threads, "events_per_thread",
                        load.eventsPerThread, "pause_ms", load.pauseMilliseconds),
                   std::move(round));
}

}  // namespace Bench
