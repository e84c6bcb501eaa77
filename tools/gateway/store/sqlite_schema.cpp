#include "gateway/store/sqlite_schema.h"

#include <string>

#include "gateway/store/rows.h"

namespace Gateway {
namespace {

// In the file's head; tells a store from other SQLite files. "Tav1"
constexpr std::int64_t kApplicationId = 0x54617631;

// Texts that repeat are numbers in the events: a third of the size, and indexes that cover
// questions.
constexpr char kTables[] = R"(
CREATE TABLE kinds(id INTEGER PRIMARY KEY, kind TEXT NOT NULL);
CREATE TABLE products(id INTEGER PRIMARY KEY, product TEXT NOT NULL UNIQUE);
CREATE TABLE versions(
  id INTEGER PRIMARY KEY, product INTEGER NOT NULL, version TEXT NOT NULL,
  UNIQUE(product, version));
CREATE TABLE components(
  id INTEGER PRIMARY KEY, product INTEGER NOT NULL, component TEXT NOT NULL,
  UNIQUE(product, component));
CREATE TABLE names(
  id INTEGER PRIMARY KEY, product INTEGER NOT NULL, name TEXT NOT NULL, kind INTEGER NOT NULL,
  UNIQUE(product, name, kind));
CREATE TABLE endpoints(id INTEGER PRIMARY KEY, endpoint TEXT NOT NULL UNIQUE);
CREATE TABLE records(
  id INTEGER PRIMARY KEY,
  digest BLOB NOT NULL UNIQUE,
  product INTEGER NOT NULL, version INTEGER NOT NULL,
  component INTEGER NOT NULL,  -- 0: none
  endpoint INTEGER NOT NULL, user TEXT,
  arrived INTEGER NOT NULL,
  age_from INTEGER NOT NULL,  -- the newest event, at most the arrival
  headers TEXT NOT NULL, problems TEXT NOT NULL, text TEXT NOT NULL);
CREATE TABLE sessions(
  id INTEGER PRIMARY KEY,
  product INTEGER NOT NULL, session TEXT NOT NULL,
  version INTEGER NOT NULL, endpoint INTEGER NOT NULL,
  begin_time INTEGER NOT NULL, end_time INTEGER NOT NULL,
  events INTEGER NOT NULL, errors INTEGER NOT NULL,
  UNIQUE(product, session));
CREATE TABLE events(
  id INTEGER PRIMARY KEY,
  record INTEGER NOT NULL REFERENCES records ON DELETE CASCADE, position INTEGER NOT NULL,
  session INTEGER NOT NULL, product INTEGER NOT NULL, version INTEGER NOT NULL,
  component INTEGER NOT NULL,
  time INTEGER NOT NULL, kind INTEGER NOT NULL, name INTEGER NOT NULL,
  code TEXT,  -- of errors, and of errors only
  properties TEXT, trace TEXT, session_environment TEXT);
CREATE TABLE environment(
  endpoint INTEGER NOT NULL, product INTEGER NOT NULL,
  source INTEGER NOT NULL,  -- 1: product, 2: machine
  key TEXT NOT NULL, value, time INTEGER NOT NULL,
  PRIMARY KEY(endpoint, product, source, key)) WITHOUT ROWID;
CREATE INDEX records_version ON records(version);
CREATE INDEX records_component ON records(component) WHERE component > 0;
CREATE INDEX records_endpoint ON records(endpoint);
CREATE INDEX records_user ON records(user) WHERE user IS NOT NULL;
CREATE INDEX records_age ON records(age_from);
CREATE INDEX sessions_begin ON sessions(product, begin_time, endpoint, version);
CREATE INDEX events_name ON events(product, name, time, version);
CREATE INDEX events_time ON events(product, time, version, component);
CREATE INDEX events_session ON events(session, time);
CREATE INDEX events_error ON events(product, code, version, time, session)
  WHERE code IS NOT NULL;
CREATE INDEX events_record ON events(record);
)";

// LEFT JOIN, although each row has a partner: SQLite skips a LEFT JOIN that a query does not use.
constexpr char kViews[] = R"(
CREATE VIEW events_view AS
SELECT p.product, v.version, coalesce(c.component, '') AS component, ep.endpoint, r.user, s.session,
       e.time, k.kind, n.name, e.code, e.properties, e.trace, lower(hex(r.digest)) AS record
FROM events e
LEFT JOIN products p ON p.id = e.product
LEFT JOIN versions v ON v.id = e.version
LEFT JOIN components c ON c.id = e.component
LEFT JOIN names n ON n.id = e.name
LEFT JOIN kinds k ON k.id = n.kind
LEFT JOIN sessions s ON s.id = e.session
LEFT JOIN records r ON r.id = e.record
LEFT JOIN endpoints ep ON ep.id = r.endpoint;

CREATE VIEW sessions_view AS
SELECT p.product, v.version, ep.endpoint, s.session, s.begin_time, s.end_time,
       s.end_time - s.begin_time AS length, s.events, s.errors
FROM sessions s
LEFT JOIN products p ON p.id = s.product
LEFT JOIN versions v ON v.id = s.version
LEFT JOIN endpoints ep ON ep.id = s.endpoint;

CREATE VIEW errors_view AS
SELECT p.product, v.version, g.code, g.events, g.sessions, g.last_time, s.session AS last_session,
       (SELECT t.trace FROM events t
        WHERE t.product = g.product AND t.code = g.code AND t.version = g.version
          AND t.trace IS NOT NULL
        ORDER BY t.time DESC LIMIT 1) AS trace
FROM (SELECT product, code, version, count(*) AS events, count(DISTINCT session) AS sessions,
             max(time) AS last_time, session
      FROM events INDEXED BY events_error WHERE code IS NOT NULL
      GROUP BY product, code, version) g
LEFT JOIN products p ON p.id = g.product
LEFT JOIN versions v ON v.id = g.version
LEFT JOIN sessions s ON s.id = g.session;

CREATE VIEW daily_endpoints AS
SELECT p.product, date(s.begin_time / 1000, 'unixepoch') AS day,
       count(DISTINCT s.endpoint) AS endpoints
FROM sessions s LEFT JOIN products p ON p.id = s.product
GROUP BY s.product, day;

CREATE VIEW counters_view AS
SELECT p.product, v.version, n.name || '/' || j.key AS name,
       -- sum() fails when integers overflow
       CASE WHEN total(j.value) < 1e15 THEN CAST(total(j.value) AS INTEGER)
            ELSE total(j.value) END AS total
FROM names n
JOIN events e INDEXED BY events_name ON e.product = n.product AND e.name = n.id
JOIN json_each(e.properties) j
LEFT JOIN products p ON p.id = n.product
LEFT JOIN versions v ON v.id = e.version
WHERE n.kind = 8
GROUP BY n.product, e.version, n.id, j.key;

CREATE VIEW environment_view AS
SELECT p.product, ep.endpoint, CASE x.source WHEN 1 THEN 'product' ELSE 'machine' END AS source,
       x.key, x.value, x.time
FROM environment x
LEFT JOIN products p ON p.id = x.product
LEFT JOIN endpoints ep ON ep.id = x.endpoint;

CREATE VIEW records_view AS
SELECT lower(hex(r.digest)) AS record, r.arrived, p.product, v.version,
       coalesce(c.component, '') AS component, ep.endpoint, r.user, r.headers, r.problems, r.text
FROM records r
LEFT JOIN products p ON p.id = r.product
LEFT JOIN versions v ON v.id = r.version
LEFT JOIN components c ON c.id = r.component
LEFT JOIN endpoints ep ON ep.id = r.endpoint;
)";

void MakeTables(Database& database) {
  database.Execute(kTables);
  database.Execute(kViews);
  Statement kind = database.Prepare("INSERT INTO kinds VALUES(?, ?)");
  for (std::int64_t id = 1; id <= kEventKinds; ++id) {
    kind.With(id, KindName(static_cast<EventKind>(id))).Run();
  }
  database.Execute("PRAGMA application_id = " + std::to_string(kApplicationId) +
                   "; PRAGMA user_version = " + std::to_string(kSchemaVersion));
}

// A later layout adds its steps here, from each older version to the next.
void CheckVersion(Database& database) {
  if (database.Integer("PRAGMA application_id") != kApplicationId) {
    throw SqliteError(SQLITE_NOTADB, "the file is an SQLite database, but no gateway's store");
  }
  const std::int64_t version = database.Integer("PRAGMA user_version");
  if (version != kSchemaVersion) {
    throw SqliteError(SQLITE_MISMATCH, "the store has layout " + std::to_string(version) +
                                           "; this program reads layout " +
                                           std::to_string(kSchemaVersion) + " only");
  }
}

}  // namespace

void PrepareStore(Database& database) {
  database.Execute("PRAGMA foreign_keys = ON; PRAGMA secure_delete = ON");
  // Not in a transaction; fails on a file that is no database.
  const std::int64_t tables = database.Integer("SELECT count(*) FROM sqlite_schema");
  if (tables > 0) {
    CheckVersion(database);
  }
  database.Execute("PRAGMA synchronous = FULL");
  Statement journal = database.Prepare("PRAGMA journal_mode = WAL");
  // In memory there is no log, and none is needed.
  if (!journal.Step() || (journal.Text(0) != "wal" && journal.Text(0) != "memory")) {
    throw SqliteError(SQLITE_IOERR, "the file system has no shared memory for a write-ahead log");
  }
  journal.Reset();
  Transaction transaction(database);
  // Another process may have made the tables meanwhile.
  if (database.Integer("SELECT count(*) FROM sqlite_schema") == 0) {
    MakeTables(database);
  }
  transaction.Commit();
  CheckVersion(database);
}

}  // namespace Gateway
