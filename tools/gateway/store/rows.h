// A record as rows, the same for every durable store. The stores keep these rows in their tables
// and answer the questions of questions.h from them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/record_reader.h"

namespace Gateway {

// The numbers are those that the stores write.
enum class EventKind {
  Event = 1,
  Command = 2,  // "std-Cmd"
  Error = 3,    // "std-Error"
  Place = 4,    // a marker that the host names
  Idle = 5,     // "$i"
  Begin = 6,    // "$b", a session begins
  End = 7,      // "$e", a session ends
  Counter = 8,  // properties are whole numbers of at least 1, and nothing else
  Statistic =
      9,  // has the five properties of a value statistic: Psum, Pcount, Pmax, Pmin, Paverage
};
inline constexpr int kEventKinds = 9;

// "event", "command", …
std::string_view KindName(EventKind kind);

enum class PropertyType { Text, Number, Json };

struct Property {
  std::string key;
  PropertyType type = PropertyType::Text;
  std::string text;   // of a number: its shortest spelling, "12" and not "12.0"; Json: compact JSON
  double number = 0;  // of a number
};

// One entry of "rt". Entries without a time stamp, a session id or a name are left out.
struct EventRow {
  std::int64_t position = 0;  // in "rt", from 0
  std::int64_t time = 0;      // ms since the epoch, UTC
  std::string session;
  EventKind kind = EventKind::Event;
  // "m" or "g". A command's name is its "std-Name", with the component's name and an underscore
  // before it like the names of a component's other events.
  std::string name;
  std::string code;                          // "std-ErrCode" of an error, also if it is a number
  std::vector<Property> properties;          // without "std-Trace"
  std::string trace;                         // "std-Trace", compact JSON; empty if there is none
  std::vector<Property> sessionEnvironment;  // "se"
};

// What a record says of one session.
struct SessionPart {
  std::string session;
  std::int64_t begin = 0;  // the first event's time, ms
  std::int64_t end = 0;    // the last event's time, ms
  std::int64_t events = 0;
  std::int64_t errors = 0;
};

// "pe" or "ce".
struct Environment {
  bool isPresent = false;
  bool isComplete = false;  // all values are listed, not only changes
  std::int64_t time = 0;    // "t", or the arrival
  std::vector<Property> values;
};

// All texts are UTF-8 without NUL characters; U+FFFD stands for what was neither.
struct RecordRows {
  std::string product;
  std::string version;
  std::string component;         // "can"; applies to all events
  std::string componentVersion;  // "cav"
  std::string endpoint;          // "ep"
  std::string user;              // "u", a digest; empty if the record has none
  std::int64_t newest = 0;       // time of the newest event, ms; 0 without events
  std::string headers;           // a JSON object of strings: the headers of the format, no others
  std::string problems;          // a JSON array of strings
  Environment productEnvironment;
  Environment machine;
  std::vector<EventRow> events;
  std::vector<SessionPart> sessions;  // ordered by session
};

// `root` is the record's parsed text; null if it is not JSON. A record with problems gives what can
// be read. Any thread.
std::shared_ptr<const RecordRows> MakeRows(const json_t* root, const Record& record);

// record.rows, or the rows of the text parsed again if the reader did not make them.
std::shared_ptr<const RecordRows> RowsOf(const Record& record);

// The properties as one compact JSON object.
std::string PropertiesJson(const std::vector<Property>& properties);

// ms since the epoch.
std::int64_t ArrivalOf(const Record& record);

}  // namespace Gateway
