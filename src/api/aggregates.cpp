#include "api/aggregates.h"

#include <cmath>
#include <cstdio>
#include <memory>

#include "api/arguments.h"
#include "api/boundary.h"
#include "api/component_events.h"
#include "api/entry_points.h"
#include "api/sessions.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr size_t kLongestSuffix = sizeof("average") - 1;

// A name that has become too long with its suffix is refused like any other.
void AddNumber(TavEvent_s* event, const std::string& property, const char* suffix, double value) {
  char name[kLongestName + kLongestSuffix + 1];
  std::snprintf(name, sizeof name, "%s%s", property.c_str(), suffix);
  TavAddNumericEventProperty(event, name, value);
}

void AddProperties(TavEvent_s* event, const std::string& property, const Accumulator& values) {
  if (values.Kind() == AggregateKind::Counter) {
    TavAddNumericEventProperty(event, property.c_str(), values.Sum());
    return;
  }
  AddNumber(event, property, "sum", values.Sum());
  AddNumber(event, property, "count", static_cast<double>(values.Count()));
  AddNumber(event, property, "max", values.Max());
  AddNumber(event, property, "min", values.Min());
  AddNumber(event, property, "average", values.Average());
}

TavEvent_s* CreateEventFor(const AggregateOwner& owner, std::string_view name) {
  if (owner.componentName.empty()) {
    return CreateEvent(HandleKind::Event, name, owner.sessionId);
  }
  const ComponentEventName fullName(owner.componentName, name);
  TavEvent_s* const event = CreateEvent(HandleKind::Event, fullName.View(), {});
  if (event != nullptr) {
    SetComponent(*event, owner.componentName, owner.componentVersion);
  }
  return event;
}

}  // namespace

void Accumulator::Feed(double value) {
  sum_ += value;
  if (kind_ == AggregateKind::Counter) {
    return;
  }
  ++count_;
  if (value > max_) {
    max_ = value;
  }
  if (value < min_) {
    min_ = value;
  }
}

double Accumulator::Average() const {
  return std::floor(sum_ / static_cast<double>(count_) * 1000 + 0.5) * 0.001;
}

bool AggregateCollection::Feed(const char* event,
                               const char* property,
                               double value,
                               AggregateKind kind) {
  const Utf8Text eventName(event, true);
  const Utf8Text propertyName(property, true);
  if (!IsValidName(eventName.View()) || !IsValidName(propertyName.View())) {
    return false;
  }
  const auto entry = events_.find(eventName.View());
  if (entry == events_.end()) {
    Properties properties;
    properties.emplace(propertyName.View(), Accumulator(value, kind));
    events_.emplace(eventName.View(), std::move(properties));
    return true;
  }
  const auto accumulator = entry->second.find(propertyName.View());
  if (accumulator == entry->second.end()) {
    entry->second.emplace(propertyName.View(), Accumulator(value, kind));
  } else {
    accumulator->second.Feed(value);
  }
  return true;
}

void AggregateCollection::Flush(const AggregateOwner& owner) const {
  for (const auto& [name, properties] : events_) {
    TavEvent_s* const event = CreateEventFor(owner, name);
    if (event == nullptr) {
      LogError("Tav: Out of memory");
      continue;
    }
    for (const auto& [property, values] : properties) {
      AddProperties(event, property, values);
    }
    TavLogEvent(event);
  }
}

}  // namespace Tav

using namespace Tav;

namespace {

struct FeedMessages {
  const char* noSession;
  const char* badName;
};

void FeedSession(TavSession_s* session,
                 const char* event,
                 const char* property,
                 double value,
                 AggregateKind kind,
                 const FeedMessages& messages) {
  if (session == nullptr) {
    LogError("%s", messages.noSession);
    return;
  }
  if (session->aggregates == nullptr) {
    session->aggregates = std::make_unique<AggregateCollection>();
  }
  if (!session->aggregates->Feed(event, property, value, kind)) {
    LogError("%s", messages.badName);
  }
}

constexpr FeedMessages kCounterMessages = {
    "Tav: TavSessionIncrementCounter called with an invalid session",
    "Tav: TavSessionIncrementCounter called with bad group name or counter name",
};
constexpr FeedMessages kStatisticMessages = {
    "Tav: TavSessionAggregateValue called with an invalid session",
    "Tav: TavSessionAggregateValue called with bad event name or property name",
};

}  // namespace

void TAV_CALL TavSessionIncrementCounter(TavSession_s* session,
                                         const char* group,
                                         const char* counter) {
  Boundary(
      [&] { FeedSession(session, group, counter, 1.0, AggregateKind::Counter, kCounterMessages); });
}

void TAV_CALL TavSessionAggregateValue(TavSession_s* session,
                                       const char* event,
                                       const char* property,
                                       double value) {
  Boundary([&] {
    FeedSession(session, event, property, value, AggregateKind::Statistic, kStatisticMessages);
  });
}

void TAV_CALL TavSessionFlushAggregates(TavSession_s* session) {
  Boundary([&] {
    if (session == nullptr || session->aggregates == nullptr) {
      return;
    }
    const std::unique_ptr<AggregateCollection> flushed = std::move(session->aggregates);
    flushed->Flush({.sessionId = session->id.View()});
  });
}
