// Compares what the sample host says it handed over, in one run or several, with what the gateway
// says arrived.
#pragma once

#include <jansson.h>

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "demo/expectation.h"

namespace Demo {

struct Counts {
  std::size_t handedOver = 0;
  std::size_t arrived = 0;
};

// What arrived of one session.
struct SessionCounts {
  std::string id;
  std::string label;  // the host's name for it
  int sitting = 0;    // the host's run; 0 when the host's reports do not know the session
  KindCounts arrived = {};
};

// Numbers of entries in the records: events, commands, errors, places, idle marks, totals of
// counters and statistics, begins and ends of sessions. Each that can carry a property has a serial
// number of its own, by which it is recognised; the others are recognised by session and name.
// arrived = handedOver - lost + doubled + unknown.
struct Comparison {
  std::size_t handedOver = 0;
  std::size_t arrived = 0;
  std::size_t lost = 0;        // handed over, but did not arrive
  std::size_t doubled = 0;     // arrived once more than once
  std::size_t altered = 0;     // name, session, component, properties or environment differ
  std::size_t outOfOrder = 0;  // arrived behind a later one of its thread
  std::size_t unknown = 0;     // arrived, but was not handed over
  std::size_t numbers = 0;     // how often counters and statistics were fed
  std::array<Counts, kKinds> byKind = {};
  std::vector<SessionCounts> sessions;            // by sitting, then in the order of arrival
  std::map<std::string, KindCounts> byComponent;  // what arrived
  std::map<int, Counts> bySitting;    // runs of the host, by the number in their reports
  std::vector<std::string> threads;   // of the host, in the order of its reports
  std::vector<std::string> findings;  // what is wrong, for people; the first few only

  bool Balances() const {
    return handedOver > 0 && lost + doubled + altered + outOfOrder + unknown == 0;
  }
};

// `reports` are those of the sample host, one for each run; `events` is the gateway's list of all
// events in order of arrival. All are borrowed. Nothing, and the reason in `error`, when one of
// them has another form.
std::optional<Comparison> Compare(std::span<const json_t* const> reports,
                                  const json_t* events,
                                  std::string& error);

// Whether two values are the same: numbers by value, whether they are written with a fraction or
// not. With `tolerance` they may differ by that much.
bool IsSameJson(const json_t* left, const json_t* right, double tolerance = 0);

}  // namespace Demo
