// The questions that /api/ask answers: names, parameters and columns, the same for every engine.
//
// Times are milliseconds since the epoch, UTC; days and hours are UTC too, weeks begin on Monday.
// Every question but `products` and `record` is about one product. `version`, `from` and `to`
// (exclusive) narrow their answers: events by their time, sessions by their first event.
// `products`, `record` and `before_error` take `from` and `to` and ignore them; `record` ignores
// the others too.
//
//   products(): product, version, first, last, events, sessions
//   events_over_time(step, name?, component?): time, events; steps without events are left out
//   names(kind?, limit): name, kind, events; most frequent first
//   properties(name): property, events, numbers
//     In `numbers` of these events it is a number.
//   values(name, property, limit): value, events; most frequent first
//     A value is a string or a number.
//   histogram(name, property, bins): low, high, events
//     Equal widths from the least to the greatest number, the last bin includes `high`; one bin if
//     all are equal.
//   sessions(limit, before?): session, endpoint, begin, end, events, errors; newest first
//   session(session): time, kind, name, code, component, properties, record
//     In order of time, kMaxSessionEvents at most. The properties are an object, the record is its
//     digest.
//   errors(limit): code, version, events, sessions, last, last_session, trace; most frequent first
//     The trace is an array or null, of the newest that has one.
//   before_error(session, time, limit): time, kind, name, properties
//     The last `limit` places and commands up to `time`, in order of time.
//   environments(what): value, endpoints, sessions; most sessions first
//     Language and OS are the last that the endpoint has reported.
//   daily(): day, endpoints (with a session that begins on that day)
//   retention(): first_week, week (0, 1, …), endpoints; by the first session
//   counters(limit): name ("GROUP/COUNTER"), total; greatest first
//   record(digest): digest, arrived, product, version, endpoint, headers, problems, text
//     Headers are an object, problems an array. Status 404 without it.
//
// Rows that are equal by the given order are ordered by their names, so that answers can be
// compared.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "gateway/store/rows.h"
#include "gateway/store/store.h"

namespace Gateway {

enum class QuestionId {
  Products,
  EventsOverTime,
  Names,
  Properties,
  Values,
  Histogram,
  Sessions,
  Session,
  Errors,
  BeforeError,
  Environments,
  Daily,
  Retention,
  Counters,
  Record,
};

enum class EnvironmentValue { Version, Language, Os };

inline constexpr std::int64_t kMinute = 60'000;
inline constexpr std::int64_t kHour = 60 * kMinute;
inline constexpr std::int64_t kDay = 24 * kHour;
inline constexpr std::int64_t kWeek = 7 * kDay;
// 1 January 1970 was a Thursday: the Monday before it is the start of a week.
inline constexpr std::int64_t kMondayOffset = 3 * kDay;

// The times that a time stamp can have: years 0 to 9999.
inline constexpr std::int64_t kFirstTime = -62'167'219'200'000;
inline constexpr std::int64_t kEndOfTime = 253'402'300'800'000;

inline constexpr std::int64_t kMaxLimit = 1000;
inline constexpr std::int64_t kMaxBins = 200;
inline constexpr std::int64_t kMaxSteps = 50'000;  // rows of events_over_time
inline constexpr std::int64_t kMaxSessionEvents = 10'000;
inline constexpr std::size_t kMaxParameterBytes = 1024;

// A question with its parameters checked and its defaults filled in. A parameter that the question
// does not have keeps its default.
struct Query {
  QuestionId id = QuestionId::Products;
  std::string product;
  std::optional<std::string> version;
  std::int64_t from = kFirstTime;
  std::int64_t to = kEndOfTime;  // exclusive
  std::int64_t step = kHour;
  std::optional<std::string> name;
  std::optional<std::string> component;  // "" selects the product's own events
  std::optional<EventKind> kind;
  std::string property;
  std::string session;
  std::string digest;
  std::int64_t time = 0;
  std::int64_t before = kEndOfTime;  // exclusive
  std::int64_t limit = 50;
  std::int64_t bins = 20;
  EnvironmentValue what = EnvironmentValue::Version;
};

// The columns of a question's answer.
std::span<const std::string_view> ColumnsOf(QuestionId id);

struct ParsedQuestion {
  std::optional<Query> query;
  Answer refusal;  // if there is no query: 404 for an unknown question, 400 for a wrong parameter
};

// Unknown parameters are refused. Texts must be UTF-8 without NUL.
ParsedQuestion ParseQuestion(std::string_view question, const Parameters& parameters);

}  // namespace Gateway
