// Computes which entries must arrive at the gateway: the sample host's reports list every call, and
// for each of them this knows what the library sends.
#pragma once

#include <jansson.h>

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "gateway/json_text.h"

namespace Demo {

enum class Kind : std::size_t { Event, Command, Error, Place, Idle, Total, Mark };
inline constexpr std::size_t kKinds = 7;
// Headings of tables. A total is an event that sums up counters or statistics, a mark the begin or
// the end of a session.
inline constexpr std::array<const char*, kKinds> kKindNames = {
    "events", "commands", "errors", "places", "idle", "totals", "marks"};
using KindCounts = std::array<std::size_t, kKinds>;

// An entry that must be in the records.
struct Expected {
  int run = 0;              // of the host
  std::size_t thread = 0;   // index of Expectation::threads
  json_int_t position = 0;  // rises from entry to entry of a thread
  Kind kind = Kind::Event;
  json_int_t session = 0;  // the host's number for it
  std::string component;
  std::string name;
  Gateway::JsonPtr properties;          // null if there are none
  Gateway::JsonPtr sessionEnvironment;  // likewise
  std::size_t timesArrived = 0;
  json_int_t firstRecord = 0;  // in which it arrived first; the gateway's number
};

struct ExpectedSession {
  int run = 0;
  std::string label;  // the host's name for it
};

// Places, marks and totals have no serial number. Those with the same session, kind, component and
// name are told apart by their order.
using UnnumberedKey = std::tuple<json_int_t, Kind, std::string, std::string>;

struct Expectation {
  std::vector<Expected> entries;
  std::map<json_int_t, std::size_t> bySerial;  // indexes of `entries`
  std::map<UnnumberedKey, std::vector<std::size_t>> unnumbered;
  std::map<json_int_t, ExpectedSession> sessions;
  std::vector<std::string> threads;  // names; threads of two runs differ even if the names do not
  std::size_t numbers = 0;           // calls that count or aggregate
  std::set<int> killedRuns;          // whose process died in the middle of its work
};

// `reports` are the host's, one for each run. Returns nothing, with the reason in `error`, if one
// of them is inconsistent.
std::optional<Expectation> Expect(std::span<const json_t* const> reports, std::string& error);

// The property that carries an event's serial number.
inline constexpr const char* kSerial = "Seq";

}  // namespace Demo
