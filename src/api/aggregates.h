// Counters and value statistics that the library keeps for the host until they are flushed as
// events: one event for each event name, with the properties of all its counters and statistics.
//
// Nothing here is locked: one thread at a time feeds or flushes one collection.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace Tav {

enum class AggregateKind { Counter, Statistic };

// What has been fed under one property. Begins with its first value.
class Accumulator {
 public:
  Accumulator(double first, AggregateKind kind)
      : sum_(first), max_(first), min_(first), kind_(kind) {}

  // The kind stays that of the first value: whatever is fed into a counter is added to its sum.
  void Feed(double value);

  AggregateKind Kind() const { return kind_; }
  double Sum() const { return sum_; }
  // These are kept for statistics only.
  int64_t Count() const { return count_; }
  double Max() const { return max_; }
  double Min() const { return min_; }
  // To three decimals.
  double Average() const;

 private:
  double sum_;
  double max_;
  double min_;
  int64_t count_ = 1;
  AggregateKind kind_;
};

// Whose events a flush makes. All may be empty; a component's events are outside of sessions.
struct AggregateOwner {
  std::string_view sessionId = {};
  std::string_view componentName = {};
  std::string_view componentVersion = {};
};

class AggregateCollection {
 public:
  // Takes both names as a host's. False when one of them is not valid; nothing is kept then. Does
  // not allocate for a property that is known.
  bool Feed(const char* event, const char* property, double value, AggregateKind kind);

  // Logs one event for each event name, in the names' order. The collection stays as it is: who
  // flushes it drops it.
  void Flush(const AggregateOwner& owner) const;

 private:
  using Properties = std::map<std::string, Accumulator, std::less<>>;
  std::map<std::string, Properties, std::less<>> events_;
};

}  // namespace Tav
