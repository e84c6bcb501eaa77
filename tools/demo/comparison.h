// Compares what the sample host has reported to the library, in one run or several, with what has
// arrived at the gateway.
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
  std::size_t reported = 0;
  std::size_t arrived = 0;
};

// The entries of a session that arrived.
struct SessionCounts {
  std::string id;
  std::string label;  // the host's name for it
  int run = 0;        // of the host; 0 if the session is not in the host's reports
  KindCounts arrived = {};
};

// Counts of record entries: events, commands, errors, places, idle marks, totals of counters and
// statistics, begins and ends of sessions. Entries with properties are identified by a serial
// number, the others by session and name. arrived = reported - lost + doubled + inFlight + unknown.
struct Comparison {
  std::size_t reported = 0;
  std::size_t arrived = 0;
  std::size_t lost = 0;        // reported, but did not arrive
  std::size_t doubled = 0;     // arrivals of an entry beyond its first
  std::size_t inFlight = 0;    // the same, of the one record that a killed process was sending
  std::size_t altered = 0;     // name, session, component, properties or environment differ
  std::size_t outOfOrder = 0;  // arrived after a later one of its thread
  std::size_t unknown = 0;     // arrived, but was not reported
  std::size_t numbers = 0;     // calls that count or aggregate
  bool hasKilledRun = false;
  std::size_t unknownBreadcrumbs = 0;  // of its errors
  std::array<Counts, kKinds> byKind = {};
  std::vector<SessionCounts> sessions;            // by run, then in order of arrival
  std::map<std::string, KindCounts> byComponent;  // what arrived
  std::map<int, Counts> byRun;                    // by the run's number in the host's report
  std::vector<std::string> threads;               // of the host, in the order of its reports
  std::vector<std::string> findings;              // for people; the first few only

  bool Balances() const {
    return reported > 0 && lost + doubled + altered + outOfOrder + unknown == 0;
  }
};

// `reports` are the sample host's, one for each run; `events` is the gateway's list of all events
// in order of arrival. All are borrowed. Returns nothing, with the reason in `error`, if one of
// them is malformed.
std::optional<Comparison> Compare(std::span<const json_t* const> reports,
                                  const json_t* events,
                                  std::string& error);

// The product data in the headers of records.
struct HeaderCheck {
  std::size_t altered = 0;        // records that differ from what the host has set
  std::size_t productValues = 0;  // values of the product environment that the host has set
  bool isListMissing = false;     // the first run must send all of them, and did not
  std::vector<std::string> findings;

  bool Balances() const { return altered == 0 && !isListMissing; }
};

// `reports` are the sample host's, all of which have the same settings; `records` is the gateway's
// list of records. Both are borrowed.
HeaderCheck CheckHeaders(std::span<const json_t* const> reports, const json_t* records);

// Whether two values are equal. Numbers are compared by value, 1 and 1.0 are equal; they may differ
// by `tolerance`.
bool IsSameJson(const json_t* left, const json_t* right, double tolerance = 0);

}  // namespace Demo
