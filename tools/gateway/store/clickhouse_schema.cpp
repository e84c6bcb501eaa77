#include "gateway/store/clickhouse_schema.h"

namespace Gateway {
namespace {

// DATABASE stands for the database's name.
//
// index_granularity: a record's text is read with its neighbours, a few hundred of them at most.
// The other settings take deleted rows off the disk within seconds and not minutes.
constexpr std::string_view kStatements[] = {
    "CREATE DATABASE IF NOT EXISTS DATABASE",

    R"(CREATE TABLE IF NOT EXISTS DATABASE.record_rows (
  digest String,
  copy UInt64,
  day Date,
  arrived Int64,
  product String,
  version String,
  component String,
  component_version String,
  endpoint String,
  user String,
  headers String,
  problems String,
  environment_time Int64,
  environment Nested (
    key String,
    type Enum8('text' = 1, 'number' = 2, 'json' = 3),
    text String,
    number Float64),
  machine_time Int64,
  machine Nested (
    key String,
    type Enum8('text' = 1, 'number' = 2, 'json' = 3),
    text String,
    number Float64),
  text String
) ENGINE = MergeTree PARTITION BY day ORDER BY digest
SETTINGS index_granularity = 256, old_parts_lifetime = 1, finished_mutations_to_keep = 1)",

    R"(CREATE TABLE IF NOT EXISTS DATABASE.event_rows (
  digest String,
  copy UInt64,
  day Date,
  position Int64,
  arrived Int64,
  product String,
  version String,
  component String,
  endpoint String,
  user String,
  session String,
  time Int64,
  kind Enum8('event' = 1, 'command' = 2, 'error' = 3, 'place' = 4, 'idle' = 5, 'begin' = 6,
             'end' = 7, 'counter' = 8, 'statistic' = 9),
  name String,
  code String,
  trace String,
  property Nested (
    key String,
    type Enum8('text' = 1, 'number' = 2, 'json' = 3),
    text String,
    number Float64),
  environment Nested (
    key String,
    type Enum8('text' = 1, 'number' = 2, 'json' = 3),
    text String,
    number Float64)
) ENGINE = MergeTree PARTITION BY day ORDER BY (product, session, time, position)
SETTINGS index_granularity = 8192, old_parts_lifetime = 1, finished_mutations_to_keep = 1)",

    R"(CREATE VIEW IF NOT EXISTS DATABASE.records_view AS
SELECT digest AS record, arrived, product, version, component, component_version, endpoint, user, headers,
  problems, environment_time, environment.key, environment.type, environment.text,
  environment.number, machine_time, machine.key, machine.type, machine.text, machine.number, text
FROM DATABASE.record_rows
WHERE (digest, copy) IN (SELECT digest, min(copy) FROM DATABASE.record_rows GROUP BY digest))",

    R"(CREATE VIEW IF NOT EXISTS DATABASE.events_view AS
SELECT product, version, component, endpoint, user, session, time,
  toDateTime(intDiv(time, 1000)) AS moment, kind, name, code, property.key, property.type,
  property.text, property.number, trace, environment.key, environment.type, environment.text,
  environment.number, digest AS record, position
FROM DATABASE.event_rows
WHERE (digest, copy) IN (SELECT digest, min(copy) FROM DATABASE.record_rows GROUP BY digest))",

    R"(CREATE VIEW IF NOT EXISTS DATABASE.sessions_view AS
SELECT product, argMin(version, time) AS version, argMin(endpoint, time) AS endpoint, session,
  min(time) AS begin_time, max(time) AS end_time, max(time) - min(time) AS length,
  count() AS events, countIf(kind = 'error') AS errors
FROM DATABASE.events_view
GROUP BY product, session)",

    R"(CREATE VIEW IF NOT EXISTS DATABASE.errors_view AS
SELECT product, version, code, count() AS events, uniqExact(session) AS sessions,
  max(time) AS last_time, argMax(session, time) AS last_session,
  argMaxIf(trace, time, trace != '') AS trace
FROM DATABASE.events_view
WHERE kind = 'error'
GROUP BY product, version, code)",

    R"(CREATE VIEW IF NOT EXISTS DATABASE.daily_endpoints AS
SELECT product, toDate(toUInt16(intDiv(begin_time, 86400000))) AS day, uniqExact(endpoint) AS endpoints
FROM DATABASE.sessions_view
GROUP BY product, day)",

    R"(CREATE VIEW IF NOT EXISTS DATABASE.counters_view AS
SELECT product, version, concat(name, '/', counter) AS name, sum(number) AS total
FROM (
  SELECT product, version, name, counter, number
  FROM DATABASE.events_view ARRAY JOIN property.key AS counter, property.number AS number
  WHERE kind = 'counter')
GROUP BY product, version, name)",

    R"(CREATE VIEW IF NOT EXISTS DATABASE.environment_view AS
SELECT product, endpoint, 'product' AS source, key, argMax(value, reported) AS value,
  max(reported) AS time
FROM (
  SELECT product, endpoint, key, value, environment_time AS reported
  FROM DATABASE.records_view ARRAY JOIN environment.key AS key, environment.text AS value)
GROUP BY product, endpoint, key
UNION ALL
SELECT product, endpoint, 'machine' AS source, key, argMax(value, reported) AS value,
  max(reported) AS time
FROM (
  SELECT product, endpoint, key, value, machine_time AS reported
  FROM DATABASE.records_view ARRAY JOIN machine.key AS key, machine.text AS value)
GROUP BY product, endpoint, key)",
};

}  // namespace

std::vector<std::string> ClickHouseSchema(std::string_view database) {
  constexpr std::string_view kPlaceholder = "DATABASE";
  std::vector<std::string> statements;
  for (const std::string_view statement : kStatements) {
    std::string text(statement);
    // Not the keyword in CREATE DATABASE.
    std::size_t at = text.starts_with("CREATE DATABASE") ? text.rfind(kPlaceholder) : 0;
    while ((at = text.find(kPlaceholder, at)) != text.npos) {
      text.replace(at, kPlaceholder.size(), database);
      at += database.size();
    }
    statements.push_back(std::move(text));
  }
  return statements;
}

}  // namespace Gateway
