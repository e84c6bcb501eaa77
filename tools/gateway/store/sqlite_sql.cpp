#include "gateway/store/sqlite_questions.h"

#include <string>

namespace Gateway {
namespace {

// Numbers of the texts that a query names. SQLite evaluates them once.
constexpr char kProduct[] = "(SELECT id FROM products WHERE product = :product)";
constexpr char kVersion[] =
    "(SELECT v.id FROM versions v JOIN products p ON p.id = v.product "
    "WHERE p.product = :product AND v.version = :version)";
constexpr char kNames[] =
    "(SELECT n.id FROM names n JOIN products p ON p.id = n.product "
    "WHERE p.product = :product AND n.name = :name)";
constexpr char kComponent[] =
    "(SELECT c.id FROM components c JOIN products p ON p.id = c.product "
    "WHERE p.product = :product AND c.component = :component)";

// What narrows a query of events: WHERE and its conditions. `table` is the table's alias.
std::string EventsOf(const Query& query, const std::string& table) {
  std::string where = " WHERE " + table + ".product = " + kProduct + " AND " + table +
                      ".time >= :from AND " + table + ".time < :to";
  if (query.name) {
    where += " AND " + table + ".name IN " + kNames;
  }
  if (query.version) {
    where += " AND " + table + ".version = " + kVersion;
  }
  if (query.component) {
    where += " AND " + table + ".component = " + (query.component->empty() ? "0" : kComponent);
  }
  return where;
}

std::string SessionsOf(const Query& query) {
  std::string where = std::string(" WHERE s.product = ") + kProduct +
                      " AND s.begin_time >= :from AND s.begin_time < :to";
  if (query.version) {
    where += std::string(" AND s.version = ") + kVersion;
  }
  return where;
}

// The start of the step that `time` is in, also before 1970.
std::string StepOf(const std::string& time, const std::string& step) {
  return '(' + time + " - ((" + time + " % " + step + ") + " + step + ") % " + step + ')';
}

std::string ProductsSql(const Query& query) {
  std::string where = " WHERE 1";
  where += query.product.empty() ? "" : std::string(" AND s.product = ") + kProduct;
  where += query.version ? std::string(" AND s.version = ") + kVersion : "";
  return "SELECT p.product, v.version, g.first, g.last, g.events, g.sessions FROM "
         "(SELECT s.product, s.version, min(s.begin_time) AS first, max(s.end_time) AS last,"
         " sum(s.events) AS events, count(*) AS sessions FROM sessions s" +
         where +
         " GROUP BY s.product, s.version) g "
         "JOIN products p ON p.id = g.product JOIN versions v ON v.id = g.version "
         "ORDER BY p.product, v.version LIMIT 1000";
}

std::string EventsOverTimeSql(const Query& query) {
  return "SELECT " + StepOf("e.time", ":step") + " AS step, count(*) FROM events e INDEXED BY " +
         (query.name ? "events_name" : "events_time") + EventsOf(query, "e") +
         " GROUP BY step ORDER BY step LIMIT " + std::to_string(kMaxSteps);
}

std::string NamesSql(const Query& query) {
  return "SELECT n.name, n.kind, g.events FROM "
         "(SELECT e.name, count(*) AS events FROM events e INDEXED BY events_name" +
         EventsOf(query, "e") + " GROUP BY e.name) g JOIN names n ON n.id = g.name" +
         (query.kind ? " WHERE n.kind = :kind" : "") +
         " ORDER BY g.events DESC, n.name, n.kind LIMIT :limit";
}

// Every property of an event, with the type that it has in JSON.
std::string EachProperty(const Query& query) {
  return " FROM events e INDEXED BY events_name, json_each(e.properties) j" + EventsOf(query, "e");
}

constexpr char kIsNumber[] = "j.type IN ('integer', 'real')";

std::string PropertiesSql(const Query& query) {
  return std::string("SELECT j.key, count(*) AS events, sum(") + kIsNumber + ")" +
         EachProperty(query) + " GROUP BY j.key ORDER BY events DESC, j.key LIMIT 1000";
}

std::string ValuesSql(const Query& query) {
  return "SELECT j.value, count(*) AS events" + EachProperty(query) +
         " AND j.key = :property AND j.type IN ('text', 'integer', 'real')"
         " GROUP BY j.value ORDER BY events DESC, j.value LIMIT :limit";
}

std::string HistogramSql(const Query& query) {
  return "SELECT j.value" + EachProperty(query) + " AND j.key = :property AND " + kIsNumber;
}

std::string SessionsSql(const Query& query) {
  return "SELECT s.session, p.endpoint, s.begin_time, s.end_time, s.events, s.errors "
         "FROM sessions s INDEXED BY sessions_begin JOIN endpoints p ON p.id = s.endpoint" +
         SessionsOf(query) +
         " AND s.begin_time < :before ORDER BY s.begin_time DESC, s.session LIMIT :limit";
}

std::string OneSession(const Query& query, const std::string& what, const std::string& more) {
  return "SELECT e.time, n.kind, n.name" + what +
         " FROM sessions s CROSS JOIN events e INDEXED BY events_session ON e.session = s.id"
         " JOIN names n ON n.id = e.name JOIN records r ON r.id = e.record"
         " LEFT JOIN components c ON c.id = e.component" +
         std::string(" WHERE s.product = ") + kProduct + " AND s.session = :session" +
         (query.version ? std::string(" AND e.version = ") + kVersion : "") + more;
}

std::string SessionSql(const Query& query) {
  return OneSession(query, ", e.code, c.component, e.properties, lower(hex(r.digest))",
                    " AND e.time >= :from AND e.time < :to"
                    " ORDER BY e.time, e.record, e.position LIMIT " +
                        std::to_string(kMaxSessionEvents));
}

std::string BeforeErrorSql(const Query& query) {
  const std::string kinds = std::to_string(static_cast<int>(EventKind::Command)) + ", " +
                            std::to_string(static_cast<int>(EventKind::Place));
  return "SELECT time, kind, name, properties FROM (" +
         OneSession(query, ", e.properties, e.record, e.position",
                    " AND e.time <= :time AND e.kind IN (" + kinds +
                        ") ORDER BY e.time DESC, e.record DESC, e.position DESC LIMIT :limit") +
         ") ORDER BY time, record, position";
}

std::string ErrorsSql(const Query& query) {
  // The session is that of the row with the last time: SQLite's rule for a column beside max().
  return "WITH g AS (SELECT e.code, e.version, count(*) AS events,"
         " count(DISTINCT e.session) AS sessions, max(e.time) AS last, e.session"
         " FROM events e INDEXED BY events_error" +
         EventsOf(query, "e") +
         " AND e.code IS NOT NULL GROUP BY e.code, e.version),"
         " top AS (SELECT g.*, v.version AS text FROM g JOIN versions v ON v.id = g.version"
         " ORDER BY events DESC, code, text LIMIT :limit) "
         "SELECT top.code, top.text, top.events, top.sessions, top.last, s.session,"
         " (SELECT t.trace FROM events t INDEXED BY events_error" +
         EventsOf(query, "t") +
         " AND t.code = top.code AND t.version = top.version AND t.trace IS NOT NULL"
         " ORDER BY t.time DESC LIMIT 1)"
         " FROM top JOIN sessions s ON s.id = top.session"
         " ORDER BY top.events DESC, top.code, top.text";
}

std::string EnvironmentJoin(const std::string& alias, int source, const std::string& key) {
  return " LEFT JOIN environment " + alias + " ON " + alias + ".endpoint = s.endpoint AND " +
         alias + ".product = s.product AND " + alias + ".source = " + std::to_string(source) +
         " AND " + alias + ".key = '" + key + "'";
}

std::string EnvironmentsSql(const Query& query) {
  std::string value = "v.version";
  std::string join = " JOIN versions v ON v.id = s.version";
  if (query.what == EnvironmentValue::Language) {
    value = "coalesce(l.value, '')";
    join = EnvironmentJoin("l", 1, "std-AppLanguage");
  } else if (query.what == EnvironmentValue::Os) {
    value = "trim(coalesce(o.value, '') || ' ' || coalesce(w.value, ''))";
    join = EnvironmentJoin("o", 2, "OsName") + EnvironmentJoin("w", 2, "OsVersion");
  }
  return "SELECT " + value +
         " AS value, count(DISTINCT s.endpoint), count(*) AS sessions FROM sessions s" +
         " INDEXED BY sessions_begin" + join + SessionsOf(query) +
         " GROUP BY 1 ORDER BY sessions DESC, 1 LIMIT 1000";
}

std::string DailySql(const Query& query) {
  return "SELECT " + StepOf("s.begin_time", std::to_string(kDay)) +
         " AS day, count(DISTINCT s.endpoint) FROM sessions s INDEXED BY sessions_begin" +
         SessionsOf(query) + " GROUP BY day ORDER BY day LIMIT " + std::to_string(kMaxSteps);
}

std::string RetentionSql(const Query& query) {
  const std::string offset = std::to_string(kMondayOffset);
  const std::string week = std::to_string(kWeek);
  return "SELECT first, (week - first) / " + week +
         ", count(*) FROM (SELECT week, min(week) OVER (PARTITION BY endpoint) AS first"
         " FROM (SELECT DISTINCT s.endpoint, " +
         StepOf("(s.begin_time + " + offset + ")", week) + " - " + offset +
         " AS week FROM sessions s INDEXED BY sessions_begin" + SessionsOf(query) +
         ")) GROUP BY 1, 2 ORDER BY 1, 2 LIMIT " + std::to_string(kMaxSteps);
}

// total() and not sum(): that fails when integers overflow.
std::string CountersSql(const Query& query) {
  return "SELECT n.name || '/' || j.key AS counter, total(j.value) AS total FROM names n"
         " CROSS JOIN events e INDEXED BY events_name ON e.name = n.id, json_each(e.properties) j" +
         EventsOf(query, "e") + " AND n.product = " + kProduct +
         " AND n.kind = " + std::to_string(static_cast<int>(EventKind::Counter)) +
         " GROUP BY n.id, j.key ORDER BY total DESC, counter LIMIT :limit";
}

constexpr char kRecordSql[] =
    "SELECT lower(hex(r.digest)), r.arrived, p.product, v.version, n.endpoint, r.headers,"
    " r.problems, r.text FROM records r JOIN products p ON p.id = r.product"
    " JOIN versions v ON v.id = r.version JOIN endpoints n ON n.id = r.endpoint"
    " WHERE r.digest = :digest";

}  // namespace

std::string SqlOf(const Query& query) {
  switch (query.id) {
    case QuestionId::Products:
      return ProductsSql(query);
    case QuestionId::EventsOverTime:
      return EventsOverTimeSql(query);
    case QuestionId::Names:
      return NamesSql(query);
    case QuestionId::Properties:
      return PropertiesSql(query);
    case QuestionId::Values:
      return ValuesSql(query);
    case QuestionId::Histogram:
      return HistogramSql(query);
    case QuestionId::Sessions:
      return SessionsSql(query);
    case QuestionId::Session:
      return SessionSql(query);
    case QuestionId::Errors:
      return ErrorsSql(query);
    case QuestionId::BeforeError:
      return BeforeErrorSql(query);
    case QuestionId::Environments:
      return EnvironmentsSql(query);
    case QuestionId::Daily:
      return DailySql(query);
    case QuestionId::Retention:
      return RetentionSql(query);
    case QuestionId::Counters:
      return CountersSql(query);
    case QuestionId::Record:
      return kRecordSql;
  }
  return {};
}

}  // namespace Gateway
