#include "gateway/store/clickhouse_sql.h"

#include <charconv>

#include "gateway/store/clickhouse_client.h"

namespace Gateway {
namespace {

std::string Number(std::int64_t value) {
  return std::to_string(value);
}

std::string Number(double value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

// Writes the statements of one question.
class Statement {
 public:
  explicit Statement(const Query& query) : query_(query) {}

  std::string Text() const {
    switch (query_.id) {
      case QuestionId::Products:
        return "SELECT product, version, min(begin), max(end), toInt64(sum(events)), "
               "toInt64(count()) "
               "FROM (" +
               SessionRows() + ") GROUP BY product, version ORDER BY product, version LIMIT 1000";
      case QuestionId::EventsOverTime:
        return EventsOverTime();
      case QuestionId::Names:
        return "SELECT name, toString(kind), toInt64(count()) AS n FROM event_rows" + Where() +
               (query_.kind ? " AND kind = " + Kind(*query_.kind) : "") +
               " GROUP BY name, kind ORDER BY n DESC, name, kind" + Limit();
      case QuestionId::Properties:
        return "SELECT key, toInt64(count()) AS n, toInt64(countIf(type = 'number')) FROM "
               "event_rows "
               "ARRAY JOIN property.key AS key, property.type AS type" +
               WhereNamed() + " GROUP BY key ORDER BY n DESC, key LIMIT 1000";
      case QuestionId::Values:
        // Numbers before texts.
        return "SELECT toString(type) AS t, text, toInt64(count()) AS n FROM event_rows "
               "ARRAY JOIN property.key AS key, property.type AS type, property.text AS text, "
               "property.number AS number" +
               WhereProperty() +
               " AND type != 'json' GROUP BY type, text "
               "ORDER BY n DESC, type = 'text', any(number), text" +
               Limit();
      case QuestionId::Sessions:
        return "SELECT session, endpoint, begin, end, events, errors FROM (" + SessionRows() +
               ") WHERE begin < " + Number(query_.before) + " ORDER BY begin DESC, session" +
               Limit();
      case QuestionId::Session:
        return "SELECT time, toString(kind), name, code, component, property.key, "
               "arrayMap(t -> toString(t), property.type), property.text, digest FROM event_rows" +
               WhereSession() + TimesAndVersion() +
               " ORDER BY time, arrived, digest, position LIMIT " + Number(kMaxSessionEvents);
      case QuestionId::Errors:
        return "SELECT code, version, toInt64(count()) AS n, toInt64(uniqExact(session)), "
               "max(time), "
               "argMax(session, time), argMaxIf(trace, time, trace != '') FROM event_rows" +
               Where() +
               " AND kind = 'error' GROUP BY code, version ORDER BY n DESC, code, version" +
               Limit();
      case QuestionId::BeforeError:
        return "SELECT time, k, name, keys, types, texts FROM (SELECT time, toString(kind) AS k, "
               "name, "
               "property.key AS keys, arrayMap(t -> toString(t), property.type) AS types, "
               "property.text AS texts, arrived, digest, position FROM event_rows" +
               WhereSession() + OfVersion() +
               " AND kind IN ('place', 'command') AND time <= " + Number(query_.time) +
               " ORDER BY time DESC, arrived DESC, digest DESC, position DESC" + Limit() +
               ") ORDER BY time, arrived, digest, position";
      case QuestionId::Environments:
        return Environments();
      case QuestionId::Daily:
        return "SELECT " + Floor("begin", kDay) + " AS day, toInt64(uniqExact(endpoint)) FROM (" +
               SessionRows() + ") GROUP BY day ORDER BY day";
      case QuestionId::Retention:
        return Retention();
      case QuestionId::Counters:
        return "SELECT concat(name, '/', key) AS counter, sum(number) AS total FROM event_rows "
               "ARRAY JOIN property.key AS key, property.number AS number" +
               Where() + " AND kind = 'counter' GROUP BY counter ORDER BY total DESC, counter" +
               Limit();
      case QuestionId::Record:
        return "SELECT digest, arrived, product, version, endpoint, headers, problems, text "
               "FROM record_rows WHERE digest = " +
               QuoteSql(query_.digest) + " ORDER BY copy LIMIT 1";
      case QuestionId::Histogram:
        break;  // takes two statements
    }
    return {};
  }

  // The texts of the least and the greatest number, and how many there are.
  std::string Range() const {
    return "SELECT toInt64(count()), argMin(text, number), argMax(text, number)" + Numbers();
  }

  // How many numbers are at least as great as how many of the edges.
  std::string Bins(std::span<const double> edges) const {
    std::string list;
    for (const double edge : edges) {
      list += (list.empty() ? "" : ", ") + Number(edge);
    }
    const std::string bin =
        edges.empty() ? "toInt64(0)" : "toInt64(arrayCount(e -> number >= e, [" + list + "]))";
    return "SELECT " + bin + " AS bin, toInt64(count())" + Numbers() + " GROUP BY bin";
  }

 private:
  static std::string Kind(EventKind kind) { return '\'' + std::string(KindName(kind)) + '\''; }

  // The start of the step that holds the time, also before 1970.
  static std::string Floor(const std::string& time, std::int64_t step) {
    const std::string width = Number(step);
    return "(" + time + " - ((" + time + " % " + width + ") + " + width + ") % " + width + ")";
  }

  std::string Limit() const { return " LIMIT " + Number(query_.limit); }

  // `records` is a condition that at least these events' records meet: it keeps the set small.
  static std::string Visible(const std::string& records) {
    return " (digest, copy) IN (SELECT digest, min(copy) FROM record_rows" + records +
           " GROUP BY digest)";
  }

  std::string Product() const {
    return query_.product.empty() ? "" : "product = " + QuoteSql(query_.product);
  }

  // All events of the product, without a condition for their times and versions.
  std::string WhereProduct() const {
    const std::string product = Product();
    return product.empty() ? " WHERE" + Visible("")
                           : " WHERE " + product + " AND" + Visible(" WHERE " + product);
  }

  std::string OfVersion() const {
    return query_.version ? " AND version = " + QuoteSql(*query_.version) : "";
  }

  std::string TimesAndVersion(const std::string& time = "time") const {
    std::string text;
    text += query_.from > kFirstTime ? " AND " + time + " >= " + Number(query_.from) : "";
    text += query_.to < kEndOfTime ? " AND " + time + " < " + Number(query_.to) : "";
    return text + OfVersion();
  }

  std::string Where() const { return WhereProduct() + TimesAndVersion(); }

  std::string WhereNamed() const {
    return Where() + (query_.name ? " AND name = " + QuoteSql(*query_.name) : "");
  }

  std::string WhereProperty() const {
    return WhereNamed() + " AND key = " + QuoteSql(query_.property);
  }

  std::string WhereSession() const {
    const std::string session = Product() + " AND session = " + QuoteSql(query_.session);
    return " WHERE " + session + " AND" +
           Visible(" WHERE digest IN (SELECT digest FROM event_rows WHERE " + session + ")");
  }

  std::string Numbers() const {
    return " FROM event_rows ARRAY JOIN property.key AS key, property.type AS type, "
           "property.text AS text, property.number AS number" +
           WhereProperty() + " AND type = 'number'";
  }

  // product, session, endpoint, version, begin, end, events, errors of the sessions that begin in
  // time.
  std::string SessionRows() const {
    return "SELECT product, session, argMin(endpoint, time) AS endpoint, argMin(version, time) AS "
           "version, "
           "min(time) AS begin, max(time) AS end, toInt64(count()) AS events, "
           "toInt64(countIf(kind = 'error')) AS errors FROM event_rows" +
           WhereProduct() + " GROUP BY product, session HAVING 1" + TimesAndVersion("begin");
  }

  std::string EventsOverTime() const {
    return "SELECT " + Floor("time", query_.step) + " AS step, toInt64(count()) FROM event_rows" +
           WhereNamed() +
           (query_.component ? " AND component = " + QuoteSql(*query_.component) : "") +
           " GROUP BY step ORDER BY step LIMIT " + Number(kMaxSteps);
  }

  // The text of a key that an endpoint reported last; empty without one.
  static std::string Last(const std::string& key) {
    return "argMaxIf(text, reported, key = '" + key + "')";
  }

  std::string Environments() const {
    const std::string count =
        "SELECT value, toInt64(uniqExact(endpoint)), toInt64(count()) AS sessions FROM (";
    const std::string order = " GROUP BY value ORDER BY sessions DESC, value LIMIT 1000";
    if (query_.what == EnvironmentValue::Version) {
      return count + "SELECT version AS value, endpoint FROM (" + SessionRows() + "))" + order;
    }
    const bool isOs = query_.what == EnvironmentValue::Os;
    const std::string list = isOs ? "machine" : "environment";
    const std::string value =
        isOs ? Last("OsName") + " AS os, " + Last("OsVersion") +
                   " AS number, concat(os, if(os = '' OR number = '', '', ' '), number)"
             : Last("std-AppLanguage");
    return count + SessionRows() + ") ANY LEFT JOIN (SELECT endpoint, " + value +
           " AS value FROM (SELECT endpoint, key, text, " + list +
           "_time AS reported FROM record_rows ARRAY JOIN " + list + ".key AS key, " + list +
           ".text AS text" + WhereProduct() + ") GROUP BY endpoint) USING endpoint" + order;
  }

  std::string Retention() const {
    // Weeks begin on Monday.
    const std::string offset = Number(kMondayOffset);
    const std::string week = "(" + Floor("(begin + " + offset + ")", kWeek) + " - " + offset + ")";
    return "SELECT first_week, intDiv(active - first_week, " + Number(kWeek) +
           ") AS week, toInt64(count()) FROM (SELECT groupUniqArray(week_of) AS weeks, "
           "min(week_of) AS "
           "first_week FROM (SELECT endpoint, " +
           week + " AS week_of FROM (" + SessionRows() +
           ")) GROUP BY endpoint) ARRAY JOIN weeks AS active GROUP BY first_week, week "
           "ORDER BY first_week, week";
  }

  const Query& query_;
};

}  // namespace

std::string ClickHouseQuestion(const Query& query) {
  return Statement(query).Text();
}

std::string ClickHouseRange(const Query& query) {
  return Statement(query).Range();
}

std::string ClickHouseBins(const Query& query, std::span<const double> edges) {
  return Statement(query).Bins(edges);
}

}  // namespace Gateway
