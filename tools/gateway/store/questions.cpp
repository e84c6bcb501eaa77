#include "gateway/store/questions.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "gateway/json_text.h"
#include "gateway/store/answers.h"
#include "gateway/value_checks.h"

namespace Gateway {
namespace {

enum class Presence { Optional, Required };

// Reads a value into the query; returns what is wrong with it, or null.
using Reader = const char* (*)(const std::string& value, Query& query);

struct ParameterRule {
  std::string_view name;
  Presence presence;
  Reader read;
};

struct QuestionRule {
  std::string_view name;
  QuestionId id;
  std::int64_t limit;  // the default
  std::span<const ParameterRule> parameters;
  std::span<const std::string_view> columns;
};

bool ReadInteger(const std::string& value,
                 std::int64_t least,
                 std::int64_t most,
                 std::int64_t& number) {
  std::int64_t read = 0;
  const char* end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, read);
  if (error != std::errc() || stop != end || read < least || read > most) {
    return false;
  }
  number = read;
  return true;
}

template <std::int64_t Query::* Member>
const char* ReadTime(const std::string& value, Query& query) {
  return ReadInteger(value, kFirstTime, kEndOfTime, query.*Member)
             ? nullptr
             : "is not a time in milliseconds since the epoch";
}

template <auto Member>
const char* ReadAnyText(const std::string& value, Query& query) {
  query.*Member = value;
  return nullptr;
}

const char* ReadLimit(const std::string& value, Query& query) {
  return ReadInteger(value, 1, kMaxLimit, query.limit) ? nullptr : "is not a number from 1 to 1000";
}

const char* ReadBins(const std::string& value, Query& query) {
  return ReadInteger(value, 1, kMaxBins, query.bins) ? nullptr : "is not a number from 1 to 200";
}

const char* ReadStep(const std::string& value, Query& query) {
  query.step = value == "minute" ? kMinute : value == "hour" ? kHour : value == "day" ? kDay : 0;
  return query.step != 0 ? nullptr : R"(is neither "minute" nor "hour" nor "day")";
}

const char* ReadKind(const std::string& value, Query& query) {
  for (int number = 1; number <= kEventKinds; ++number) {
    if (KindName(static_cast<EventKind>(number)) == value) {
      query.kind = static_cast<EventKind>(number);
      return nullptr;
    }
  }
  return "is not a kind of events";
}

const char* ReadSession(const std::string& value, Query& query) {
  query.session = value;
  return IsSessionId(value) ? nullptr : "is not a session id";
}

const char* ReadDigest(const std::string& value, Query& query) {
  query.digest = value;
  const bool isDigest =
      value.size() == 64 && value.find_first_not_of("0123456789abcdef") == std::string::npos;
  return isDigest ? nullptr : "is not a SHA-256 digest of 64 lower-case hexadecimal digits";
}

const char* ReadWhat(const std::string& value, Query& query) {
  query.what = value == "version"    ? EnvironmentValue::Version
               : value == "language" ? EnvironmentValue::Language
                                     : EnvironmentValue::Os;
  const bool isKnown = value == "version" || value == "language" || value == "os";
  return isKnown ? nullptr : R"(is neither "version" nor "language" nor "os")";
}

// Every question has these but `products` and `record`, which accept them all the same.
constexpr ParameterRule kCommon[] = {
    {"product", Presence::Required, ReadAnyText<&Query::product>},
    {"version", Presence::Optional, ReadAnyText<&Query::version>},
    {"from", Presence::Optional, ReadTime<&Query::from>},
    {"to", Presence::Optional, ReadTime<&Query::to>},
};

constexpr ParameterRule kName{"name", Presence::Required, ReadAnyText<&Query::name>};
constexpr ParameterRule kProperty{"property", Presence::Required, ReadAnyText<&Query::property>};
constexpr ParameterRule kLimit{"limit", Presence::Optional, ReadLimit};
constexpr ParameterRule kSession{"session", Presence::Required, ReadSession};

constexpr ParameterRule kTimeParameters[] = {
    {"step", Presence::Optional, ReadStep},
    {"name", Presence::Optional, ReadAnyText<&Query::name>},
    {"component", Presence::Optional, ReadAnyText<&Query::component>},
};
constexpr ParameterRule kNamesParameters[] = {{"kind", Presence::Optional, ReadKind}, kLimit};
constexpr ParameterRule kPropertiesParameters[] = {kName};
constexpr ParameterRule kValuesParameters[] = {kName, kProperty, kLimit};
constexpr ParameterRule kHistogramParameters[] = {kName,
                                                  kProperty,
                                                  {"bins", Presence::Optional, ReadBins}};
constexpr ParameterRule kSessionsParameters[] = {
    kLimit,
    {"before", Presence::Optional, ReadTime<&Query::before>}};
constexpr ParameterRule kSessionParameters[] = {kSession};
constexpr ParameterRule kLimitOnly[] = {kLimit};
constexpr ParameterRule kBeforeErrorParameters[] = {
    kSession,
    {"time", Presence::Required, ReadTime<&Query::time>},
    kLimit};
constexpr ParameterRule kEnvironmentsParameters[] = {{"what", Presence::Required, ReadWhat}};
constexpr ParameterRule kRecordParameters[] = {{"digest", Presence::Required, ReadDigest}};

constexpr std::string_view kProductsColumns[] = {"product", "version", "first",
                                                 "last",    "events",  "sessions"};
constexpr std::string_view kTimeColumns[] = {"time", "events"};
constexpr std::string_view kNamesColumns[] = {"name", "kind", "events"};
constexpr std::string_view kPropertiesColumns[] = {"property", "events", "numbers"};
constexpr std::string_view kValuesColumns[] = {"value", "events"};
constexpr std::string_view kHistogramColumns[] = {"low", "high", "events"};
constexpr std::string_view kSessionsColumns[] = {"session", "endpoint", "begin",
                                                 "end",     "events",   "errors"};
constexpr std::string_view kSessionColumns[] = {"time",      "kind",       "name",  "code",
                                                "component", "properties", "record"};
constexpr std::string_view kErrorsColumns[] = {"code", "version",      "events", "sessions",
                                               "last", "last_session", "trace"};
constexpr std::string_view kBeforeErrorColumns[] = {"time", "kind", "name", "properties"};
constexpr std::string_view kEnvironmentsColumns[] = {"value", "endpoints", "sessions"};
constexpr std::string_view kDailyColumns[] = {"day", "endpoints"};
constexpr std::string_view kRetentionColumns[] = {"first_week", "week", "endpoints"};
constexpr std::string_view kCountersColumns[] = {"name", "total"};
constexpr std::string_view kRecordColumns[] = {"digest",   "arrived", "product",  "version",
                                               "endpoint", "headers", "problems", "text"};

constexpr QuestionRule kQuestions[] = {
    {"products", QuestionId::Products, 50, {}, kProductsColumns},
    {"events_over_time", QuestionId::EventsOverTime, 50, kTimeParameters, kTimeColumns},
    {"names", QuestionId::Names, 50, kNamesParameters, kNamesColumns},
    {"properties", QuestionId::Properties, 50, kPropertiesParameters, kPropertiesColumns},
    {"values", QuestionId::Values, 50, kValuesParameters, kValuesColumns},
    {"histogram", QuestionId::Histogram, 50, kHistogramParameters, kHistogramColumns},
    {"sessions", QuestionId::Sessions, 100, kSessionsParameters, kSessionsColumns},
    {"session", QuestionId::Session, 50, kSessionParameters, kSessionColumns},
    {"errors", QuestionId::Errors, 50, kLimitOnly, kErrorsColumns},
    {"before_error", QuestionId::BeforeError, 20, kBeforeErrorParameters, kBeforeErrorColumns},
    {"environments", QuestionId::Environments, 50, kEnvironmentsParameters, kEnvironmentsColumns},
    {"daily", QuestionId::Daily, 50, {}, kDailyColumns},
    {"retention", QuestionId::Retention, 50, {}, kRetentionColumns},
    {"counters", QuestionId::Counters, 50, kLimitOnly, kCountersColumns},
    {"record", QuestionId::Record, 50, kRecordParameters, kRecordColumns},
};

const QuestionRule& RuleOf(QuestionId id) {
  return *std::ranges::find(kQuestions, id, &QuestionRule::id);
}

bool NeedsProduct(QuestionId id) {
  return id != QuestionId::Products && id != QuestionId::Record;
}

// A text that the engines can compare as it is.
bool IsPlainText(const std::string& value) {
  return value.find('\0') == std::string::npos && JsonPtr(json_stringn(value.data(), value.size()));
}

// Applies the rules to the parameters; returns what is wrong, empty if nothing is.
std::string ApplyRules(std::span<const ParameterRule> rules,
                       bool isRequired,
                       const Parameters& parameters,
                       std::size_t& used,
                       Query& query) {
  for (const ParameterRule& rule : rules) {
    const auto found = parameters.find(rule.name);
    const std::string name = '"' + std::string(rule.name) + "\" ";
    if (found == parameters.end()) {
      if (isRequired && rule.presence == Presence::Required) {
        return name + "is missing";
      }
      continue;
    }
    ++used;
    if (found->second.size() > kMaxParameterBytes) {
      return name + "is too long";
    }
    if (!IsPlainText(found->second)) {
      return name + "is not UTF-8 text";
    }
    if (const char* problem = rule.read(found->second, query); problem != nullptr) {
      return name + problem;
    }
  }
  return {};
}

}  // namespace

std::span<const std::string_view> ColumnsOf(QuestionId id) {
  return RuleOf(id).columns;
}

ParsedQuestion ParseQuestion(std::string_view question, const Parameters& parameters) {
  const auto* rule = std::ranges::find(kQuestions, question, &QuestionRule::name);
  if (rule == std::ranges::end(kQuestions)) {
    return {{}, ErrorAnswer(404, "no such question")};
  }
  Query query;
  query.id = rule->id;
  query.limit = rule->limit;
  std::size_t used = 0;
  std::string problem = ApplyRules(kCommon, NeedsProduct(rule->id), parameters, used, query);
  if (problem.empty()) {
    problem = ApplyRules(rule->parameters, true, parameters, used, query);
  }
  if (problem.empty() && used != parameters.size()) {
    problem = "a parameter that this question does not have";
  }
  if (!problem.empty()) {
    return {{}, ErrorAnswer(400, problem)};
  }
  return {std::move(query), {}};
}

}  // namespace Gateway
