#include "fleet/summary.h"

#include <algorithm>

namespace Fleet {

namespace {

constexpr int64_t kMinute = 60;
constexpr int64_t kHour = 3600;

// Keeps the first of several equal maxima.
void Raise(Peak& peak, double value, int64_t time) {
  if (value > peak.value) {
    peak = {value, time};
  }
}

int64_t Served(const Second& second) {
  return int64_t{second.accepted} + second.tooMany;
}

int64_t LastReturn(const Scenario& scenario) {
  int64_t last = kNever;
  for (const GatewayModel::Outage& outage : scenario.gateways.outages) {
    last = last == kNever ? outage.end : std::max(last, outage.end);
  }
  return last;
}

void SumUp(const Figures& figures, int64_t gatewaysReturn, Summary& summary) {
  int64_t busyMinutes = 0;
  for (int64_t minute = figures.Begin(); minute < figures.End(); minute += kMinute) {
    const int64_t end = std::min(minute + kMinute, figures.End());
    int64_t served = 0;
    int64_t bytes = 0;
    for (int64_t time = minute; time < end; ++time) {
      const Second& second = figures.At(time);
      served += Served(second);
      bytes += second.bytes;
      summary.requests += second.accepted;
      summary.tooMany += second.tooMany;
      summary.gone += second.gone;
      Raise(summary.second, static_cast<double>(Served(second)), time);
      Raise(summary.goneSecond, second.gone, time);
      if (time >= gatewaysReturn && time < gatewaysReturn + kHour) {
        Raise(summary.afterReturn, static_cast<double>(Served(second)), time);
      }
    }
    summary.bytes += bytes;
    busyMinutes += served > 0 ? 1 : 0;
    Raise(summary.minute, static_cast<double>(served) / static_cast<double>(end - minute), minute);
    Raise(summary.byteRate, static_cast<double>(bytes) / static_cast<double>(end - minute), minute);
  }
  summary.meanRate = static_cast<double>(summary.requests) /
                     static_cast<double>(std::max<int64_t>(busyMinutes, 1) * kMinute);
}

void FindBacklog(const Figures& figures, Summary& summary) {
  int64_t time = figures.Begin();
  for (const Sample& sample : figures.Samples()) {
    time += kMinute;
    Raise(summary.behind, static_cast<double>(sample.behind), time);
    Raise(summary.backlogRecords, static_cast<double>(sample.records), time);
    Raise(summary.backlogBytes, static_cast<double>(sample.bytes), time);
  }
}

void FindDrain(const Figures& figures, int64_t gatewaysReturn, Summary& summary) {
  const auto& samples = figures.Samples();
  const auto first = static_cast<size_t>((gatewaysReturn - figures.Begin()) / kMinute);
  if (gatewaysReturn == kNever || first == 0 || first > samples.size()) {
    return;
  }
  const int64_t behind = samples[first - 1].behind;
  for (size_t i = first; i < samples.size(); ++i) {
    const int64_t passed = static_cast<int64_t>(i + 1 - first) * kMinute;
    const int64_t left = samples[i].behind;
    const auto note = [passed, left](int64_t& when, int64_t bound) {
      when = when == kNever && left <= bound ? passed : when;
    };
    note(summary.half, behind / 2);
    note(summary.most, behind / 100);
    note(summary.all, 0);
  }
}

}  // namespace

Summary Summarise(const Scenario& scenario, const Figures& figures) {
  Summary summary;
  summary.name = scenario.name;
  summary.clients = scenario.clients;
  summary.made = figures.made;
  summary.delivered = figures.delivered;
  summary.waitingEvents = figures.kept;
  summary.droppedEvents = figures.dropped.events;
  summary.dropping = figures.dropping;
  summary.largest = figures.largest;
  const int64_t gatewaysReturn = LastReturn(scenario);
  SumUp(figures, gatewaysReturn, summary);
  FindBacklog(figures, summary);
  FindDrain(figures, gatewaysReturn, summary);
  return summary;
}

}  // namespace Fleet
