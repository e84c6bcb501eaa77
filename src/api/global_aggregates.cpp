#include "api/global_aggregates.h"

#include <memory>
#include <utility>

#include "api/boundary.h"
#include "api/entry_points.h"
#include "api/library.h"
#include "util/logger.h"

namespace Tav {

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

void TAV_CALL TavIncrementCounter(const char* group, const char* counter) {
  Boundary([&] {
    if (!GlobalAggregatesOf({}).collection.Feed(group, counter, 1.0, AggregateKind::Counter)) {
      LogError("Tav: TavIncrementCounter called with bad group name or counter name");
    }
  });
}

void TAV_CALL TavAggregateValue(const char* event, const char* property, double value) {
  Boundary([&] {
    if (!GlobalAggregatesOf({}).collection.Feed(event, property, value, AggregateKind::Statistic)) {
      LogError("Tav: TavAggregateValue called with bad event name or property name");
    }
  });
}

void TAV_CALL TavFlushAggregates() {
  Boundary([] {
    const std::unique_ptr<GlobalAggregates> flushed = std::move(GetLibrary().aggregates);
    if (flushed == nullptr) {
      return;
    }
    for (const auto& [name, aggregates] : flushed->components) {
      aggregates.collection.Flush({.componentName = name, .componentVersion = aggregates.version});
    }
  });
}
