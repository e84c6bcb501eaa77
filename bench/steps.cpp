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
      samples.reserve(events * kStringCount);
    }
  }

  void Begin() { last_ = ReadTicks(); }
  void End(Step step) {
    const Ticks now = ReadTicks();
    samples_[step].push_back(now - last_);
    last_ = ReadTicks();
  }
  std::vector<Ticks>& Samples(int step) { return samples_[step]; }

 private:
  std::vector<Ticks> samples_[kStepCount];
  Ticks last_ = 0;
};

void ReportInSteps(const TavEntryTable& tav, double serial, StepTimes& times) {
  const EventValues values = ValuesOf(serial);
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
  const int events = options.load.eventsPerThread;
  StepTimes times(static_cast<size_t>(events));
  HostLibrary library(options.library);
  library.Start(options.gateway, options.scratch);
  ReportEvent(library.Table(), 0, ValuesOf(0));
  library.Drain();
  for (int i = 0; i < events; ++i) {
    if (options.load.pauseMilliseconds > 0) {
      Sleep(static_cast<DWORD>(options.load.pauseMilliseconds));
    }
    ReportInSteps(library.Table(), i, times);
  }
  library.Drain();
  library.Stop();

  Json round = Pack("{}");
  for (int step = 0; step < kStepCount; ++step) {
    json_object_set_new(round.get(), kStepNames[step],
                        Describe(Summarise(timing, times.Samples(step))).release());
  }
  results.AddRound("steps", options.name,
                   Pack("{s:i, s:i}", "events", events, "pause_ms", options.load.pauseMilliseconds),
                   std::move(round));
}

}  // namespace Bench
