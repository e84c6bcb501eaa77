#include "demo/comparison.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string_view>
#include <utility>

#include "gateway/json_text.h"

namespace Demo {
namespace {

using Gateway::DumpJson;
using Gateway::ForEachMember;
using Gateway::TextOf;

constexpr std::size_t kMaxFindings = 10;
// The library and the ledger round averages to three decimals by different formulas.
constexpr double kAverageTolerance = 1e-9;

std::size_t Index(Kind kind) {
  return static_cast<std::size_t>(kind);
}

// An absent value counts as an object without members.
bool IsSameOrAbsent(const json_t* expected, const json_t* arrived, double tolerance) {
  if (expected == nullptr || arrived == nullptr) {
    return json_object_size(expected) == 0 && json_object_size(arrived) == 0 &&
           (arrived == nullptr || json_is_object(arrived));
  }
  return IsSameJson(expected, arrived, tolerance);
}

// An entry of the gateway's list of events.
struct Arrival {
  explicit Arrival(const json_t* entry);

  bool IsNumbered() const { return serial >= 0; }

  const json_t* event;
  const json_t* properties;
  std::string id;
  std::string component;
  std::string name;
  Kind kind = Kind::Event;
  json_int_t serial = -1;
  json_int_t record;  // the gateway's number
};

Kind MarkerKind(std::string_view name) {
  if (name == "$b" || name == "$e") {
    return Kind::Mark;
  }
  return name == "$i" ? Kind::Idle : Kind::Place;
}

Arrival::Arrival(const json_t* entry)
    : event(json_object_get(entry, "event")),
      properties(json_object_get(event, "v")),
      id(TextOf(json_object_get(event, "s"))),
      component(TextOf(json_object_get(entry, "component"))),
      record(json_integer_value(json_object_get(entry, "record"))) {
  if (const json_t* marker = json_object_get(event, "g")) {
    name = TextOf(marker);
    kind = MarkerKind(name);
    return;
  }
  name = TextOf(json_object_get(event, "m"));
  const json_t* number = json_object_get(properties, kSerial);
  if (!json_is_number(number)) {
    kind = Kind::Total;
    return;
  }
  serial = static_cast<json_int_t>(json_number_value(number));
  if (name.ends_with("std-Cmd")) {
    kind = Kind::Command;
  } else if (name.ends_with("std-Error")) {
    kind = Kind::Error;
  }
}

class Comparer {
 public:
  explicit Comparer(Expectation& expectation);

  // Call it for all arrivals before the first Add.
  void LearnSession(const Arrival& arrival);
  void Add(const Arrival& arrival);
  Comparison Finish();

 private:
  Expected* Find(const Arrival& arrival);
  void Count(const Arrival& arrival);
  void CompareWith(Expected& expected, const Arrival& arrival);
  void CountDouble(const Expected& expected, const Arrival& arrival);
  void AllowShortBreadcrumbs(json_t* expected, const json_t* arrived);
  void AddFinding(const char* what, const std::string& detail);

  Expectation& expectation_;
  std::map<std::string, json_int_t> sessionOfId_;
  std::map<json_int_t, std::string> idOfSession_;
  std::map<std::string, std::size_t> sessionIndex_;  // of result_.sessions, by id
  std::map<UnnumberedKey, std::size_t> arrivedUnnumbered_;
  std::vector<json_int_t> lastPosition_;  // of each thread
  std::map<int, json_int_t> inFlight_;    // of a killed run: the record that it was sending
  Comparison result_;
};

Comparer::Comparer(Expectation& expectation)
    : expectation_(expectation), lastPosition_(expectation.threads.size(), -1) {
  for (const Expected& expected : expectation.entries) {
    ++result_.reported;
    ++result_.byKind[Index(expected.kind)].reported;
    ++result_.byRun[expected.run].reported;
  }
  result_.numbers = expectation.numbers;
  result_.hasKilledRun = !expectation.killedRuns.empty();
  result_.threads = expectation.threads;
}

// The host does not know the library's session ids; the first event of a session has it. The others
// are compared with it.
void Comparer::LearnSession(const Arrival& arrival) {
  const auto found = expectation_.bySerial.find(arrival.serial);
  if (!arrival.IsNumbered() || found == expectation_.bySerial.end()) {
    return;
  }
  const json_int_t session = expectation_.entries[found->second].session;
  if (!idOfSession_.contains(session) && !sessionOfId_.contains(arrival.id)) {
    idOfSession_[session] = arrival.id;
    sessionOfId_[arrival.id] = session;
  }
}

// Null if nothing like it was reported.
Expected* Comparer::Find(const Arrival& arrival) {
  if (arrival.IsNumbered()) {
    const auto found = expectation_.bySerial.find(arrival.serial);
    return found != expectation_.bySerial.end() ? &expectation_.entries[found->second] : nullptr;
  }
  const auto session = sessionOfId_.find(arrival.id);
  if (session == sessionOfId_.end()) {
    return nullptr;
  }
  const UnnumberedKey key = {session->second, arrival.kind, arrival.component, arrival.name};
  const auto same = expectation_.unnumbered.find(key);
  if (same == expectation_.unnumbered.end()) {
    return nullptr;
  }
  // More arrivals than expected are doubles of the last one.
  const std::size_t number = std::min(arrivedUnnumbered_[key]++, same->second.size() - 1);
  return &expectation_.entries[same->second[number]];
}

void Comparer::Count(const Arrival& arrival) {
  ++result_.arrived;
  ++result_.byKind[Index(arrival.kind)].arrived;
  ++result_.byComponent[arrival.component][Index(arrival.kind)];
  const auto [index, isNew] = sessionIndex_.try_emplace(arrival.id, result_.sessions.size());
  if (isNew) {
    SessionCounts& session = result_.sessions.emplace_back();
    session.id = arrival.id;
    if (const auto known = sessionOfId_.find(arrival.id); known != sessionOfId_.end()) {
      session.label = expectation_.sessions[known->second].label;
      session.run = expectation_.sessions[known->second].run;
    }
  }
  ++result_.sessions[index->second].arrived[Index(arrival.kind)];
}

void Comparer::AddFinding(const char* what, const std::string& detail) {
  if (result_.findings.size() < kMaxFindings) {
    result_.findings.push_back(std::string(what) + ": " + detail);
  }
}

void Comparer::Add(const Arrival& arrival) {
  Count(arrival);
  if (Expected* const expected = Find(arrival)) {
    CompareWith(*expected, arrival);
    return;
  }
  ++result_.unknown;
  AddFinding("not reported", DumpJson(arrival.event));
}

void Comparer::CompareWith(Expected& expected, const Arrival& arrival) {
  ++result_.byRun[expected.run].arrived;
  if (++expected.timesArrived > 1) {
    CountDouble(expected, arrival);
    return;
  }
  expected.firstRecord = arrival.record;
  const double tolerance = expected.kind == Kind::Total ? kAverageTolerance : 0;
  if (expected.kind == Kind::Error && expectation_.killedRuns.contains(expected.run)) {
    AllowShortBreadcrumbs(expected.properties.get(), arrival.properties);
  }
  if (expected.kind != arrival.kind || expected.name != arrival.name ||
      expected.component != arrival.component || idOfSession_[expected.session] != arrival.id ||
      !IsSameOrAbsent(expected.properties.get(), arrival.properties, tolerance) ||
      !IsSameOrAbsent(expected.sessionEnvironment.get(), json_object_get(arrival.event, "se"), 0)) {
    ++result_.altered;
    AddFinding("altered", expected.name + ' ' + DumpJson(expected.properties.get()) +
                              " arrived as " + DumpJson(arrival.event));
  }
  json_int_t& last = lastPosition_[expected.thread];
  if (expected.position < last) {
    ++result_.outOfOrder;
    AddFinding("out of order", DumpJson(arrival.event));
  }
  last = std::max(last, expected.position);
}

// The library sends one record at a time. If its process dies before the answer is noted, the next
// run sends the events of that record again.
void Comparer::CountDouble(const Expected& expected, const Arrival& arrival) {
  if (expected.timesArrived == 2 && expectation_.killedRuns.contains(expected.run) &&
      inFlight_.try_emplace(expected.run, expected.firstRecord).first->second ==
          expected.firstRecord) {
    ++result_.inFlight;
    return;
  }
  ++result_.doubled;
  AddFinding("doubled", DumpJson(arrival.event));
}

// The run that delivers the error knows only the places and commands in the same journal. Older
// ones may be missing, because the dead run has delivered them.
void Comparer::AllowShortBreadcrumbs(json_t* expected, const json_t* arrived) {
  for (const char* key : {"std-Place", "std-Cmd"}) {
    json_t* const list = json_object_get(expected, key);
    const std::size_t known = json_array_size(json_object_get(arrived, key));
    while (json_array_size(list) > known) {
      json_array_remove(list, 0);
      ++result_.unknownBreadcrumbs;
    }
    if (known == 0) {
      json_object_del(expected, key);
    }
  }
}

Comparison Comparer::Finish() {
  for (const Expected& expected : expectation_.entries) {
    if (expected.timesArrived == 0) {
      ++result_.lost;
      AddFinding("lost", expected.name + ' ' + DumpJson(expected.properties.get()));
    }
  }
  std::multimap<int, SessionCounts> byRun;  // keeps the order of arrival within a run
  for (SessionCounts& session : result_.sessions) {
    byRun.emplace(session.run, std::move(session));
  }
  result_.sessions.clear();
  for (auto& [run, session] : byRun) {
    result_.sessions.push_back(std::move(session));
  }
  return std::move(result_);
}

}  // namespace

bool IsSameJson(const json_t* left, const json_t* right, double tolerance) {
  if (json_is_number(left) && json_is_number(right)) {
    return std::abs(json_number_value(left) - json_number_value(right)) <= tolerance;
  }
  if (json_is_string(left) && json_is_string(right)) {
    return TextOf(left) == TextOf(right);
  }
  if (json_is_array(left) && json_is_array(right)) {
    bool isSame = json_array_size(left) == json_array_size(right);
    for (std::size_t i = 0; isSame && i < json_array_size(left); ++i) {
      isSame = IsSameJson(json_array_get(left, i), json_array_get(right, i), tolerance);
    }
    return isSame;
  }
  bool isSame = json_is_object(left) && json_is_object(right) &&
                json_object_size(left) == json_object_size(right);
  if (isSame) {
    ForEachMember(left, [&](std::string_view key, const json_t* value) {
      const json_t* other = json_object_getn(right, key.data(), key.size());
      isSame = isSame && other != nullptr && IsSameJson(value, other, tolerance);
    });
  }
  return isSame;
}

std::optional<Comparison> Compare(std::span<const json_t* const> reports,
                                  const json_t* events,
                                  std::string& error) {
  std::optional<Expectation> expectation = Expect(reports, error);
  if (!expectation) {
    return std::nullopt;
  }
  if (!json_is_array(events)) {
    error = "the gateway's list of events is not an array";
    return std::nullopt;
  }
  std::vector<Arrival> arrivals;
  for (std::size_t i = 0; i < json_array_size(events); ++i) {
    const Arrival& arrival = arrivals.emplace_back(json_array_get(events, i));
    if (!json_is_object(arrival.event)) {
      error = "the gateway's list of events has an entry without an event";
      return std::nullopt;
    }
  }
  Comparer comparer(*expectation);
  for (const Arrival& arrival : arrivals) {
    comparer.LearnSession(arrival);
  }
  for (const Arrival& arrival : arrivals) {
    comparer.Add(arrival);
  }
  return comparer.Finish();
}

}  // namespace Demo
