// What is simulated: the clients and their habits, the library's settings, the gateways.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "fleet/activity.h"
#include "session/limits.h"

namespace Fleet {

// Bytes of a record of n events: on the wire (gzip) wire + n * wirePerEvent, as the library
// estimates its text text + n * textPerEvent. docs/scale.md says how the defaults were measured.
struct RecordModel {
  int64_t wire = 350;
  int64_t wirePerEvent = 22;
  int64_t text = 250;
  int64_t textPerEvent = 225;
};

struct GatewayModel {
  // No gateway can be reached from `begin` on, until `end`.
  struct Outage {
    int64_t begin = 0;
    int64_t end = 0;
  };

  std::vector<Outage> outages;
  int64_t capacity = 0;  // requests a second; the others are answered 503. 0: no limit
  // What an answer 503 asks for, drawn evenly from this range, in seconds. With a maximum above 0 a
  // proxy gives that answer also while no gateway can be reached.
  int64_t minRetryAfter = 0;
  int64_t maxRetryAfter = 0;
};

struct Scenario {
  std::string name;
  std::string title;
  uint32_t clients = 1'000'000;
  uint64_t seed = 1;
  int64_t begin = 0;
  int64_t end = kDay;
  Workday workday;
  RecordModel record;
  Tav::Limits limits;  // the library's defaults
  GatewayModel gateways;
  int64_t requestsPerSecond = 20;  // that one client can make: 50 ms each
  int64_t intervalSpread = 0;      // each client's send interval differs by up to so many percent
  // Not in the library: what if each wait after a failed send were up to so many percent longer?
  int64_t jitter = 0;
  // A client is stepped at least this often. Does not change the figures.
  int64_t step = kDay;

  // A record is built, although no send is due, when so many events are pending.
  int64_t EventsOfFullRecord() const {
    const int64_t room = std::max<int64_t>(limits.maxRecordSize - record.text, 1);
    return (room + record.textPerEvent - 1) / record.textPerEvent;
  }
};

// The settings of the library without a host's or a server's values.
Tav::Limits LibraryLimits();

const std::vector<Scenario>& Scenarios();

}  // namespace Fleet
