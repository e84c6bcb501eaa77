#include "gateway/store/rows.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <iterator>
#include <map>
#include <set>
#include <utility>

#include "gateway/json_text.h"
#include "gateway/value_checks.h"

namespace Gateway {
namespace {

constexpr std::string_view kKindNames[] = {"event", "command", "error",   "place",    "idle",
                                           "begin", "end",     "counter", "statistic"};

constexpr int kMaxNesting = 64;  // SQLite's functions for JSON have a limit of some thousand

int Digits(std::string_view text, std::size_t at, std::size_t count) {
  int number = 0;
  std::from_chars(text.data() + at, text.data() + at + count, number);
  return number;
}

// ms since the epoch of a text that IsTimeStamp accepts.
std::int64_t Milliseconds(std::string_view stamp) {
  using namespace std::chrono;
  const sys_days day = year(Digits(stamp, 0, 4)) / Digits(stamp, 5, 2) / Digits(stamp, 8, 2);
  minutes offset{0};
  if (stamp.back() != 'Z') {
    offset = hours(Digits(stamp, 24, 2)) + minutes(Digits(stamp, 27, 2));
    offset = stamp[23] == '-' ? -offset : offset;
  }
  const auto local = day.time_since_epoch() + hours(Digits(stamp, 11, 2)) +
                     minutes(Digits(stamp, 14, 2)) + seconds(Digits(stamp, 17, 2)) +
                     milliseconds(Digits(stamp, 20, 3));
  return duration_cast<milliseconds>(local - offset).count();
}

// 12.0 is written as 12, and 1e300 without its three hundred digits.
std::string NumberText(const json_t* value) {
  std::array<char, 32> text{};
  const auto write = [&](auto number) {
    return std::string(text.data(),
                       std::to_chars(text.data(), text.data() + text.size(), number).ptr);
  };
  return json_is_integer(value) ? write(json_integer_value(value)) : write(json_real_value(value));
}

Property MakeProperty(std::string_view key, const json_t* value) {
  Property property;
  property.key = key;
  if (json_is_string(value)) {
    property.text = TextOf(value);
  } else if (json_is_number(value)) {
    property.type = PropertyType::Number;
    property.text = NumberText(value);
    property.number = json_number_value(value);
  } else if (IsNestedDeeper(value, kMaxNesting)) {
    property.text = "[nested too deep]";
  } else {
    property.type = PropertyType::Json;
    property.text = DumpJson(value);
  }
  return property;
}

std::vector<Property> MakeProperties(const json_t* object, std::string_view leftOut) {
  std::vector<Property> properties;
  if (json_is_object(object)) {
    ForEachMember(object, [&](std::string_view key, const json_t* value) {
      if (key != leftOut) {
        properties.push_back(MakeProperty(key, value));
      }
    });
  }
  return properties;
}

bool IsStatistic(const std::vector<Property>& properties) {
  constexpr std::string_view kLast = "average";
  // A search of the list for each candidate would take quadratic time.
  std::set<std::string_view> keys;
  return std::ranges::any_of(properties, [&](const Property& property) {
    if (!property.key.ends_with(kLast) || property.type != PropertyType::Number) {
      return false;
    }
    if (keys.empty()) {
      std::ranges::transform(properties, std::inserter(keys, keys.end()), &Property::key);
    }
    const std::string name = property.key.substr(0, property.key.size() - kLast.size());
    return keys.contains(name + "sum") && keys.contains(name + "count") &&
           keys.contains(name + "max") && keys.contains(name + "min");
  });
}

// A record does not say which events were counters; this is how they all look.
bool IsCounter(const std::vector<Property>& properties) {
  return !properties.empty() && std::ranges::all_of(properties, [](const Property& property) {
    return property.type == PropertyType::Number && property.number >= 1 &&
           std::floor(property.number) == property.number;
  });
}

EventKind MarkerKind(std::string_view name) {
  return name == "$b"   ? EventKind::Begin
         : name == "$e" ? EventKind::End
         : name == "$i" ? EventKind::Idle
                        : EventKind::Place;
}

std::string ValueText(const json_t* value) {
  return json_is_number(value) ? NumberText(value) : std::string(TextOf(value));
}

// Sets kind, code and, for a command, its name.
void Classify(EventRow& row, const json_t* values, const std::string& component) {
  const std::string prefix = component.empty() ? "" : component + '_';
  const bool isPrefixed = row.name.starts_with(prefix);
  const std::string_view bare = std::string_view(row.name).substr(isPrefixed ? prefix.size() : 0);
  if (bare == "std-Cmd") {
    row.kind = EventKind::Command;
    const std::string command = ValueText(json_object_get(values, "std-Name"));
    row.name = command.empty() ? row.name : (isPrefixed ? prefix : "") + command;
  } else if (bare == "std-Error") {
    row.kind = EventKind::Error;
    row.code = ValueText(json_object_get(values, "std-ErrCode"));
    const json_t* trace = json_object_get(values, "std-Trace");
    row.trace = json_is_array(trace) ? DumpJson(trace) : "";
  } else if (IsStatistic(row.properties)) {
    row.kind = EventKind::Statistic;
  } else if (row.sessionEnvironment.empty() && IsCounter(row.properties)) {
    row.kind = EventKind::Counter;
  }
}

// Whether the event could be read.
bool ReadEvent(const json_t* event, const std::string& component, EventRow& row) {
  const std::string_view time = TextOf(json_object_get(event, "t"));
  row.session = TextOf(json_object_get(event, "s"));
  const std::string_view marker = TextOf(json_object_get(event, "g"));
  row.name = marker.empty() ? TextOf(json_object_get(event, "m")) : marker;
  if (!IsTimeStamp(time) || !IsSessionId(row.session) || row.name.empty()) {
    return false;
  }
  row.time = Milliseconds(time);
  const json_t* values = json_object_get(event, "v");
  row.properties = MakeProperties(values, "std-Trace");
  row.sessionEnvironment = MakeProperties(json_object_get(event, "se"), {});
  if (marker.empty()) {
    Classify(row, values, component);
  } else {
    row.kind = MarkerKind(marker);
  }
  return true;
}

void ReadEvents(const json_t* root, RecordRows& rows) {
  const json_t* list = json_object_get(root, "rt");
  for (std::size_t i = 0; i < std::min(json_array_size(list), kMaxEvents); ++i) {
    EventRow row;
    row.position = static_cast<std::int64_t>(i);
    if (ReadEvent(json_array_get(list, i), rows.component, row)) {
      rows.newest = rows.events.empty() ? row.time : std::max(rows.newest, row.time);
      rows.events.push_back(std::move(row));
    }
  }
}

void CollectSessions(RecordRows& rows) {
  std::map<std::string_view, SessionPart> parts;
  for (const EventRow& event : rows.events) {
    const auto [found, isNew] = parts.try_emplace(event.session);
    SessionPart& part = found->second;
    part.begin = isNew ? event.time : std::min(part.begin, event.time);
    part.end = isNew ? event.time : std::max(part.end, event.time);
    ++part.events;
    part.errors += event.kind == EventKind::Error ? 1 : 0;
  }
  for (auto& [session, part] : parts) {
    part.session = session;
    rows.sessions.push_back(std::move(part));
  }
}

Environment ReadEnvironment(const json_t* object) {
  Environment environment;
  environment.isPresent = json_is_object(object);
  if (!environment.isPresent) {
    return environment;
  }
  const std::string_view time = TextOf(json_object_get(object, "t"));
  environment.time = IsTimeStamp(time) ? Milliseconds(time) : 0;
  const json_t* incremental = json_object_get(object, "std-Incremental");
  environment.isComplete = incremental == nullptr || TextOf(incremental) == "false";
  for (Property& value : MakeProperties(object, "t")) {
    if (value.key != "std-Incremental") {
      environment.values.push_back(std::move(value));
    }
  }
  return environment;
}

// `text` is UTF-8. Few texts need an escape.
void AppendQuoted(std::string& json, const std::string& text) {
  const bool isPlain = std::ranges::none_of(
      text, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\'; });
  if (isPlain) {
    json.append("\"").append(text).append("\"");
  } else {
    json += QuoteJson(text);
  }
}

// Those that the format lays down. Others may name a person or a machine: a proxy adds the client's
// address, a browser sends cookies.
constexpr std::string_view kKeptHeaders[] = {"connection",   "content-encoding", "content-length",
                                             "content-type", "user-agent",       "x-compressed",
                                             "x-sdkversion"};

std::string HeadersJson(const Headers& headers) {
  const JsonPtr object(json_object());
  for (const std::string_view name : kKeptHeaders) {
    if (const auto found = headers.find(name); found != headers.end()) {
      json_object_set_new(object.get(), found->first.c_str(), JsonText(found->second).release());
    }
  }
  return DumpJson(object.get());
}

std::string ProblemsJson(const std::vector<std::string>& problems) {
  const JsonPtr array(json_array());
  for (const std::string& problem : problems) {
    json_array_append_new(array.get(), JsonText(problem).release());
  }
  return DumpJson(array.get());
}

}  // namespace

std::string_view KindName(EventKind kind) {
  return kKindNames[static_cast<int>(kind) - 1];
}

std::shared_ptr<const RecordRows> MakeRows(const json_t* root, const Record& record) {
  auto rows = std::make_shared<RecordRows>();
  rows->headers = HeadersJson(record.headers);
  rows->problems = ProblemsJson(record.problems);
  if (json_is_object(root)) {
    rows->product = TextOf(json_object_get(root, "pn"));
    rows->version = TextOf(json_object_get(root, "pv"));
    rows->component = TextOf(json_object_get(root, "can"));
    rows->componentVersion = TextOf(json_object_get(root, "cav"));
    rows->endpoint = TextOf(json_object_get(root, "ep"));
    rows->user = TextOf(json_object_get(root, "u"));
    rows->productEnvironment = ReadEnvironment(json_object_get(root, "pe"));
    rows->machine = ReadEnvironment(json_object_get(root, "ce"));
    ReadEvents(root, *rows);
    CollectSessions(*rows);
  }
  return rows;
}

std::shared_ptr<const RecordRows> RowsOf(const Record& record) {
  if (record.rows != nullptr) {
    return record.rows;
  }
  std::string error;
  const JsonPtr root = ParseJson(record.text, error);
  return MakeRows(root.get(), record);
}

std::string PropertiesJson(const std::vector<Property>& properties) {
  std::string json = "{";
  for (const Property& property : properties) {
    json += json.size() > 1 ? "," : "";
    AppendQuoted(json, property.key);
    json += ':';
    if (property.type == PropertyType::Text) {
      AppendQuoted(json, property.text);
    } else {
      json += property.text;
    }
  }
  return json += '}';
}

std::int64_t ArrivalOf(const Record& record) {
  const auto arrival = record.arrival == std::chrono::system_clock::time_point{}
                           ? std::chrono::system_clock::now()
                           : record.arrival;
  return std::chrono::floor<std::chrono::milliseconds>(arrival.time_since_epoch()).count();
}

}  // namespace Gateway
