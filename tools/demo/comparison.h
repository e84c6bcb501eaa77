// Compares what the sample host says it handed over, in one run or several, with what the gateway
// says arrived.
#pragma once

#include <jansson.h>

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Demo {

struct Counts {
  std::size_t handedOver = 0;
  std::size_t arrived = 0;
};

// Numbers of events. Each handed-over event has a serial number of its own, by which an arrived one
// is recognised; the library's marks of a session's begin and end are not counted.
// arrived = handedOver - lost + doubled + unknown.
struct Comparison {
  std::size_t handedOver = 0;
  std::size_t arrived = 0;
  std::size_t lost = 0;        // handed over, but did not arrive
  std::size_t doubled = 0;     // arrived once more than once
  std::size_t altered = 0;     // name, properties or session environment are not the host's
  std::size_t outOfOrder = 0;  // arrived behind a later one of its thread
  std::size_t unknown = 0;     // arrived, but was not handed over
  std::size_t marks = 0;       // begins and ends of sessions
  std::map<std::string, Counts> byName;
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

}  // namespace Demo
