// Counters and value statistics that the library keeps for the host until they are flushed as
// events: one event for each event name, with the properties of all its counters and statistics.
//
// Nothing here is locked: one thread at a time feeds or flushes one collection.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "api/events.h"

namespace Tav {

enum class AggregateKind { Counter, Statistic };

// The values fed for one property.
class Accumulator {
 public:
  Accumulator(double first, AggregateKind kind)
      : sum_(first), max_(first), min_(first), kind_(kind) {}

  // The kind stays that of the first value: a counter adds every later value to its sum.
  void Feed(double value);

  AggregateKind Kind() const { return kind_; }
  double Sum() const { return sum_; }
  // The rest is kept for statistics only.
  int64_t Count() const { return count_; }
  double Max() const { return max_; }
  double Min() const { return min_; }
  // Rounded to three decimals.
  double Average() const;

 private:
  double sum_;
  double max_;
  double min_;
  int64_t count_ = 1;
  AggregateKind kind_;
};

// The names of an entry point and of its two arguments in messages.
struct FeedSource {
  const char* entryPoint;
  const char* names;
};
inline constexpr char kCounterNames[] = "group name or counter name";
inline constexpr char kStatisticNames[] = "event name or property name";

class AggregateCollection {
 public:
  // Trims both names. When one of them is not valid nothing is kept, and the ERROR "Tav:
  // <entryPoint> called with bad <names>" is logged. Does not allocate for a known property.
  void Feed(const char* event,
            const char* property,
            double value,
            AggregateKind kind,
            const FeedSource& source);

  // Logs one event for each event name, in the order of the names. The caller then drops the
  // collection, which stays as it is.
  void Flush(const EventOwner& owner) const;

 private:
  using Properties = std::map<std::string, Accumulator, std::less<>>;
  std::map<std::string, Properties, std::less<>> events_;
};

// The collection of one component, outside explicit sessions. The host's own has the empty name.
struct ComponentAggregates {
  AggregateCollection collection;
  std::string version;  // as of the component's last feed
};

struct GlobalAggregates {
  std::map<std::string, ComponentAggregates, std::less<>> components;
};

// One component's collection in the library's state, made on first use. Valid until the next flush
// of all.
ComponentAggregates& GlobalAggregatesOf(std::string_view component);

}  // namespace Tav
