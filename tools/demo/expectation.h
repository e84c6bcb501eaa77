// What has to arrive at the gateway, worked out from what the sample host says it handed over: its
// reports list every call, and this knows what the library makes of each of them.
#pragma once

#include <jansson.h>

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "gateway/json_text.h"

namespace Demo {

enum class Kind : std::size_t { Event, Command, Error, Place, Idle, Total, Mark };
inline constexpr std::size_t kKinds = 7;
// What it is called in tables. A total is an event that sums counters or statistics up, a mark the
// begin or the end of a session.
inline constexpr std::array<const char*, kKinds> kKindNames = {
    "events", "commands", "errors", "places", "idle", "totals", "marks"};
using KindCounts = std::array<std::size_t, kKinds>;

// One entry that has to stand in the records, as it has to stand there.
struct Expected {
  int sitting = 0;         // the host's run
  std::size_t thread = 0;  // number in Expectation::threads
  // Entries of one thread arrive by rising position.
  json_int_t position = 0;
  Kind kind = Kind::Event;
  json_int_t session = 0;  // the host's number for it
  std::string component;
  std::string name;
  Gateway::JsonPtr properties;          // null when there are none
  Gateway::JsonPtr sessionEnvironment;  // likewise
  std::size_t timesArrived = 0;
};

struct ExpectedSession {
  int sitting = 0;
  std::string label;
};

// Places, marks and totals carry no serial number; those that look alike are told by their order.
// Session, kind, component, name.
using LookAlike = std::tuple<json_int_t, Kind, std::string, std::string>;

struct Expectation {
  std::vector<Expected> entries;
  std::map<json_int_t, std::size_t> bySerial;  // into `entries`
  std::map<LookAlike, std::vector<std::size_t>> byLooks;
  std::map<json_int_t, ExpectedSession> sessions;
  std::vector<std::string> threads;  // each run has threads of its own, whatever their names
  std::size_t numbers = 0;           // how often counters and statistics were fed
};

// From the host's reports, one for each run; they are borrowed during the call. Nothing, and the
// reason in `error`, when one of them contradicts itself.
std::optional<Expectation> Expect(std::span<const json_t* const> reports, std::string& error);

// The property that carries an event's serial number.
inline constexpr const char* kSerial = "Seq";

}  // namespace Demo
