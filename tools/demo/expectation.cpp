#include "demo/expectation.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "demo/expected_properties.h"

namespace Demo {
namespace {

using Gateway::DumpJson;
using Gateway::JsonPtr;
using Gateway::TextOf;

json_int_t IntegerMember(const json_t* object, const char* key) {
  return json_integer_value(json_object_get(object, key));
}

JsonPtr Copy(const json_t* value) {
  return JsonPtr(json_deep_copy(value));
}

// Reads one report of the host; throws std::runtime_error with the reason if it is inconsistent.
class ReportReader {
 public:
  explicit ReportReader(Expectation& target) : target_(target) {}

  void Read(const json_t* report);

 private:
  // The library reports the counters and statistics of a group in one event. Session, component,
  // name.
  using Group = std::tuple<json_int_t, std::string, std::string>;
  struct SessionState {
    bool hasEnded = false;
    Breadcrumbs places;
    Breadcrumbs commands;
  };

  void ReadSettings(const json_t* settings);
  void ReadCall(json_int_t serial, const json_t* call);
  void ReadEvent(json_int_t serial, const json_t* call, const std::string& kind, Expected entry);
  void ReadNumber(const json_t* call, const std::string& kind);
  void AddTotals(json_int_t session, json_int_t position, std::size_t thread);
  void AddUnnumbered(Expected entry);
  std::size_t ThreadNumber(std::string_view name);
  SessionState& State(const json_t* call);

  Expectation& target_;
  int run_ = 0;
  std::size_t firstThread_ = 0;
  JsonPtr sessionEnvironment_;
  std::map<json_int_t, SessionState> sessions_;
  std::map<Group, std::map<std::string, Number>> numbers_;
};

void ReportReader::Read(const json_t* report) {
  const json_t* calls = json_object_get(report, "notes");
  if (!json_is_array(calls) ||
      static_cast<std::size_t>(IntegerMember(report, "total")) != json_array_size(calls)) {
    throw std::runtime_error("the host's report does not have \"total\" entries");
  }
  run_ = static_cast<int>(IntegerMember(report, "run"));
  firstThread_ = target_.threads.size();
  ReadSettings(json_object_get(report, "settings"));
  // In the order of all threads together: the breadcrumbs of errors depend on it.
  std::map<json_int_t, const json_t*> inOrder;
  for (std::size_t i = 0; i < json_array_size(calls); ++i) {
    const json_t* call = json_array_get(calls, i);
    const json_int_t serial = IntegerMember(call, "seq");
    if (serial <= 0) {
      throw std::runtime_error("the host's report has an entry without a serial number: " +
                               DumpJson(call));
    }
    if (!inOrder.emplace(serial, call).second || target_.bySerial.count(serial) != 0) {
      throw std::runtime_error("the host's reports have serial number " + std::to_string(serial) +
                               " twice");
    }
  }
  for (const auto& [serial, call] : inOrder) {
    ReadCall(serial, call);
  }
  const bool isKilled = json_is_true(json_object_get(report, "killed"));
  if (isKilled) {
    target_.killedRuns.insert(run_);
  }
  for (const auto& [number, state] : sessions_) {
    if (!state.hasEnded && !isKilled) {
      throw std::runtime_error("the host's report does not end session " + std::to_string(number));
    }
  }
}

void ReportReader::ReadSettings(const json_t* settings) {
  for (std::size_t i = 0; i < json_array_size(settings); ++i) {
    const json_t* call = json_array_get(settings, i);
    if (TextMember(call, "call") == "AddSessionEnvInfo") {
      if (!sessionEnvironment_) {
        sessionEnvironment_.reset(json_object());
      }
      json_object_set_new(sessionEnvironment_.get(), TextMember(call, "key").c_str(),
                          Copy(json_object_get(call, "value")).release());
    }
  }
}

ReportReader::SessionState& ReportReader::State(const json_t* call) {
  const auto found = sessions_.find(IntegerMember(call, "session"));
  if (found == sessions_.end() || found->second.hasEnded) {
    throw std::runtime_error("the host's report uses a session that is not open: " +
                             DumpJson(call));
  }
  return found->second;
}

void ReportReader::ReadCall(json_int_t serial, const json_t* call) {
  const std::string kind = TextMember(call, "kind");
  const std::string name = TextMember(call, "name");
  Expected entry;
  entry.run = run_;
  entry.thread = ThreadNumber(TextOf(json_object_get(call, "thread")));
  // Even numbers: the totals of a session get the odd one before its end.
  entry.position = 2 * serial;
  entry.session = IntegerMember(call, "session");
  if (kind == "begin") {
    sessions_.try_emplace(entry.session);
    target_.sessions[entry.session] = {run_, name};
  }
  SessionState& session = State(call);
  if (kind == "begin" || kind == "end") {
    entry.kind = Kind::Mark;
    entry.name = kind == "begin" ? "$b" : "$e";
    if (kind == "end") {
      session.hasEnded = true;
      AddTotals(entry.session, entry.position - 1, entry.thread);
    }
    AddUnnumbered(std::move(entry));
  } else if (kind == "place" || kind == "idle") {
    entry.kind = kind == "place" ? Kind::Place : Kind::Idle;
    entry.name = kind == "place" ? name : "$i";
    if (kind == "place") {
      AddBreadcrumb(session.places, name);
    }
    AddUnnumbered(std::move(entry));
  } else if (kind == "flush") {
    AddTotals(entry.session, entry.position, entry.thread);
  } else if (kind == "count" || kind == "value") {
    ReadNumber(call, kind);
  } else {
    ReadEvent(serial, call, kind, std::move(entry));
  }
}

void ReportReader::ReadEvent(json_int_t serial,
                             const json_t* call,
                             const std::string& kind,
                             Expected entry) {
  const std::string name = TextMember(call, "name");
  const json_t* properties = json_object_get(call, "properties");
  entry.properties = properties != nullptr ? Copy(properties) : JsonPtr(json_object());
  json_t* const object = entry.properties.get();
  json_object_set_new(object, kSerial, json_integer(serial));
  SessionState& session = State(call);
  if (kind == "event") {
    entry.kind = Kind::Event;
    entry.name = name;
  } else if (kind == "command") {
    entry.kind = Kind::Command;
    entry.name = "std-Cmd";
    SetText(object, "std-Name", name);
    AddBreadcrumb(session.commands, name);
  } else if (kind == "error") {
    entry.kind = Kind::Error;
    entry.name = "std-Error";
    SetText(object, "std-ErrCode", name);
    SetText(object, "std-ErrMsg", TextMember(call, "detail"));
    SetTrace(object, json_object_get(call, "trace"));
    SetBreadcrumbs(object, "std-Place", session.places);
    SetBreadcrumbs(object, "std-Cmd", session.commands);
  } else {
    throw std::runtime_error("the host's report has an entry of an unknown kind: " +
                             DumpJson(call));
  }
  entry.component = TextMember(call, "component");
  entry.name = ComponentEventName(entry.component, entry.name);
  entry.sessionEnvironment = Copy(sessionEnvironment_.get());
  target_.bySerial[serial] = target_.entries.size();
  target_.entries.push_back(std::move(entry));
}

void ReportReader::ReadNumber(const json_t* call, const std::string& kind) {
  const Group group = {IntegerMember(call, "session"), TextMember(call, "component"),
                       TextMember(call, "name")};
  Number& number = numbers_[group][TextMember(call, "detail")];
  number.isCounter = kind == "count";
  number.values.push_back(number.isCounter ? 1 : json_number_value(json_object_get(call, "value")));
  ++target_.numbers;
}

// A flush and the end of a session report the counters and statistics of that session. Those that
// belong to no explicit session belong to the implied one. Those that a killed process has
// collected since the last report are lost with it.
void ReportReader::AddTotals(json_int_t session, json_int_t position, std::size_t thread) {
  const auto begin = numbers_.lower_bound({session, "", ""});
  const auto end = numbers_.lower_bound({session + 1, "", ""});
  for (auto at = begin; at != end; ++at) {
    Expected entry;
    entry.run = run_;
    entry.thread = thread;
    entry.position = position;
    entry.kind = Kind::Total;
    entry.session = session;
    entry.component = std::get<1>(at->first);
    entry.name = ComponentEventName(entry.component, std::get<2>(at->first));
    entry.properties.reset(json_object());
    for (const auto& [property, number] : at->second) {
      SetNumber(entry.properties.get(), property, number);
    }
    entry.sessionEnvironment = Copy(sessionEnvironment_.get());
    AddUnnumbered(std::move(entry));
  }
  numbers_.erase(begin, end);
}

void ReportReader::AddUnnumbered(Expected entry) {
  target_.unnumbered[{entry.session, entry.kind, entry.component, entry.name}].push_back(
      target_.entries.size());
  target_.entries.push_back(std::move(entry));
}

std::size_t ReportReader::ThreadNumber(std::string_view name) {
  const auto begin = target_.threads.begin() + static_cast<std::ptrdiff_t>(firstThread_);
  const auto found = std::find(begin, target_.threads.end(), name);
  if (found != target_.threads.end()) {
    return static_cast<std::size_t>(found - target_.threads.begin());
  }
  target_.threads.emplace_back(name);
  return target_.threads.size() - 1;
}

}  // namespace

std::optional<Expectation> Expect(std::span<const json_t* const> reports, std::string& error) {
  Expectation expectation;
  try {
    for (const json_t* report : reports) {
      ReportReader(expectation).Read(report);
    }
  } catch (const std::exception& failure) {
    error = failure.what();
    return std::nullopt;
  }
  return expectation;
}

}  // namespace Demo
