#include "api/aggregates.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>

#include "api/entry_guard.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "api/sessions.h"
#include "util/logger.h"

namespace Tav {

namespace {

constexpr size_t kMaxSuffixLength = sizeof("average") - 1;

// A name that the suffix makes too long is refused like any other.
void AddNumber(TavEvent_s* event, const std::string& property, const char* suffix, double value) {
  char name[kMaxNameLength + kMaxSuffixLength + 1];
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

TavEvent_s* CreateAggregateEvent(std::string_view name, const EventOwner& owner) {
  if (owner.componentName.empty()) {
    return CreateOwnedEvent(HandleKind::Event, name, owner);
  }
  const ComponentEventName fullName(owner.componentName, name);
  return CreateOwnedEvent(HandleKind::Event, fullName.CString(), owner);
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

void AggregateCollection::Feed(const char* event,
                               const char* property,
                               double value,
                               AggregateKind kind,
                               const FeedSource& source) {
  const Utf8Text eventName(event, true);
  const Utf8Text propertyName(property, true);
  if (!IsValidName(eventName.View()) || !IsValidName(propertyName.View())) {
    LogError("Tav: %s called with bad %s", source.entryPoint, source.names);
    return;
  }
  auto entry = events_.find(eventName.View());
  if (entry == events_.end()) {
    entry = events_.emplace(eventName.View(), Properties()).first;
  }
  const auto accumulator = entry->second.find(propertyName.View());
  if (accumulator == entry->second.end()) {
    entry->second.emplace(propertyName.View(), Accumulator(value, kind));
  } else {
    accumulator->second.Feed(value);
  }
}

void AggregateCollection::Flush(const EventOwner& owner) const {
  for (const auto& [name, properties] : events_) {
    TavEvent_s* const event = CreateAggregateEvent(name, owner);
    if (event == nullptr) {
      LogOutOfMemory();
      continue;
    }
    for (const auto& [property, values] : properties) {
      AddProperties(event, property, values);
    }
    TavLogEvent(event);
  }
}

void FlushAggregatesOf(TavSession_s& session) {
  if (session.aggregates == nullptr) {
    return;
  }
  const std::unique_ptr<AggregateCollection> flushed = std::move(session.aggregates);
  flushed->Flush({.sessionId = session.id.View()});
}

ComponentAggregates& GlobalAggregatesOf(std::string_view component) {
  auto& global = GetLibrary().aggregates;
  if (global == nullptr) {
    global = std::make_unique<GlobalAggregates>();
  }
  const auto existing = global->components.find(component);
  return existing != global->components.end() ? existing->second
                                              : global->components[std::string(component)];
}

}  // namespace Tav

using namespace Tav;

namespace {

void FeedSession(TavSession_s* session,
                 const char* event,
                 const char* property,
                 double value,
                 AggregateKind kind,
                 const FeedSource& source) {
  if (!CheckSession(session, source.entryPoint)) {
    return;
  }
  if (session->aggregates == nullptr) {
    session->aggregates = std::make_unique<AggregateCollection>();
  }
  session->aggregates->Feed(event, property, value, kind, source);
}

}  // namespace

void TAV_CALL TavIncrementCounter(const char* group, const char* counter) {
  Boundary([&] {
    GlobalAggregatesOf({}).collection.Feed(group, counter, 1.0, AggregateKind::Counter,
                                           {"TavIncrementCounter", kCounterNames});
  });
}

void TAV_CALL TavAggregateValue(const char* event, const char* property, double value) {
  Boundary([&] {
    GlobalAggregatesOf({}).collection.Feed(event, property, value, AggregateKind::Statistic,
                                           {"TavAggregateValue", kStatisticNames});
  });
}

void TAV_CALL TavSessionIncrementCounter(TavSession_s* session,
                                         const char* group,
                                         const char* counter) {
  Boundary([&] {
    FeedSession(session, group, counter, 1.0, AggregateKind::Counter,
                {"TavSessionIncrementCounter", kCounterNames});
  });
}

void TAV_CALL TavSessionAggregateValue(TavSession_s* session,
                                       const char* event,
                                       const char* property,
                                       double value) {
  Boundary([&] {
    FeedSession(session, event, property, value, AggregateKind::Statistic,
                {"TavSessionAggregateValue", kStatisticNames});
  });
}

void TAV_CALL TavFlushAggregates() {
  Boundary([] {
    const std::unique_ptr<GlobalAggregates> flushed = std::move(GetLibrary().aggregates);
    if (flushed == nullptr) {
      return;
    }
    for (const auto& [name, aggregates] : flushed->components) {
      const EventOwner component{.componentName = name, .componentVersion = aggregates.version};
      aggregates.collection.Flush(name.empty() ? EventOwner() : component);
    }
  });
}

void TAV_CALL TavSessionFlushAggregates(TavSession_s* session) {
  Boundary([&] {
    if (session != nullptr && CheckSession(session, "TavSessionFlushAggregates")) {
      FlushAggregatesOf(*session);
    }
  });
}
