#include "gateway/store/sqlite_writer.h"

#include <algorithm>
#include <utility>

namespace Gateway {
namespace {

// Numbers of texts that are kept in memory; hostile clients can send any number of names.
constexpr std::size_t kMaxNumbers = 100'000;

void BindOrNull(Statement& statement, int index, const std::string& text) {
  if (text.empty()) {
    statement.Bind(index, nullptr);
  } else {
    statement.Bind(index, text);
  }
}

}  // namespace

std::int64_t AgeFrom(const RecordRows& rows, std::int64_t arrival) {
  return rows.events.empty() ? arrival : std::min(rows.newest, arrival);
}

SqliteWriter::SqliteWriter(Database& database)
    : database_(database),
      readDataVersion_(database.Prepare("PRAGMA data_version")),
      find_{database.Prepare("SELECT id FROM products WHERE product = ?2 AND ?1 = 0"),
            database.Prepare("SELECT id FROM versions WHERE product = ?1 AND version = ?2"),
            database.Prepare("SELECT id FROM components WHERE product = ?1 AND component = ?2"),
            database.Prepare("SELECT id FROM endpoints WHERE endpoint = ?2 AND ?1 = 0")},
      insert_{database.Prepare("INSERT INTO products(product) SELECT ?2 WHERE ?1 = 0"),
              database.Prepare("INSERT INTO versions(product, version) VALUES(?1, ?2)"),
              database.Prepare("INSERT INTO components(product, component) VALUES(?1, ?2)"),
              database.Prepare("INSERT INTO endpoints(endpoint) SELECT ?2 WHERE ?1 = 0")},
      findName_(
          database.Prepare("SELECT id FROM names WHERE product = ? AND name = ? AND kind = ?")),
      insertName_(database.Prepare("INSERT INTO names(product, name, kind) VALUES(?, ?, ?)")),
      insertRecord_(database.Prepare(R"(
        INSERT INTO records(digest, product, version, component, endpoint, user, arrived, age_from,
                            headers, problems, text)
        VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT(digest) DO NOTHING)")),
      upsertSession_(database.Prepare(R"(
        INSERT INTO sessions(product, session, version, endpoint, begin_time, end_time, events, errors)
        VALUES(?, ?, ?, ?, ?, ?, ?, ?)
        ON CONFLICT(product, session) DO UPDATE SET
          begin_time = min(begin_time, excluded.begin_time),
          end_time = max(end_time, excluded.end_time),
          events = events + excluded.events, errors = errors + excluded.errors
        RETURNING id)")),
      insertEvent_(database.Prepare(R"(
        INSERT INTO events(record, position, session, product, version, component, time, kind, name,
                           code, properties, trace, session_environment)
        VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?))")),
      upsertEnvironment_(database.Prepare(R"(
        INSERT INTO environment(endpoint, product, source, key, value, time)
        VALUES(?, ?, ?, ?, ?, ?)
        ON CONFLICT(endpoint, product, source, key) DO UPDATE
          SET value = excluded.value, time = excluded.time WHERE excluded.time >= time)")),
      trimEnvironment_(database.Prepare("DELETE FROM environment WHERE endpoint = ? AND product = "
                                        "? AND source = ? AND time < ?")) {}

void SqliteWriter::Begin() {
  readDataVersion_.Step();
  const std::int64_t dataVersion = readDataVersion_.Integer(0);
  readDataVersion_.Reset();
  if (dataVersion != dataVersion_ || numbers_.size() > kMaxNumbers) {
    numbers_.clear();
  }
  dataVersion_ = dataVersion;
}

template <typename Find>
std::int64_t SqliteWriter::Remember(std::string key, Find find) {
  if (const auto found = numbers_.find(key); found != numbers_.end()) {
    return found->second;
  }
  const std::int64_t number = find();
  numbers_.emplace(std::move(key), number);
  return number;
}

std::int64_t SqliteWriter::NumberOf(Dictionary dictionary,
                                    std::int64_t product,
                                    std::string_view text) {
  std::string key = std::to_string(dictionary) + '/' + std::to_string(product) + '/';
  return Remember(key.append(text), [&] {
    Statement& find = find_[dictionary].With(product, text);
    const bool isKnown = find.Step();
    const std::int64_t number = isKnown ? find.Integer(0) : 0;
    find.Reset();
    if (isKnown) {
      return number;
    }
    insert_[dictionary].With(product, text).Run();
    return database_.LastId();
  });
}

std::int64_t SqliteWriter::NameNumber(std::int64_t product, std::string_view name, EventKind kind) {
  const auto kindNumber = static_cast<std::int64_t>(kind);
  std::string key = "name/" + std::to_string(product) + '/' + std::to_string(kindNumber) + '/';
  return Remember(key.append(name), [&] {
    Statement& find = findName_.With(product, name, kindNumber);
    const bool isKnown = find.Step();
    const std::int64_t number = isKnown ? find.Integer(0) : 0;
    find.Reset();
    if (isKnown) {
      return number;
    }
    insertName_.With(product, name, kindNumber).Run();
    return database_.LastId();
  });
}

AddOutcome SqliteWriter::Add(const Record& record, const RecordRows& rows) {
  at_ = {};
  at_.product = NumberOf(Products, 0, rows.product);
  at_.version = NumberOf(Versions, at_.product, rows.version);
  at_.component = rows.component.empty() ? 0 : NumberOf(Components, at_.product, rows.component);
  at_.endpoint = NumberOf(Endpoints, 0, rows.endpoint);

  const std::string digest = BytesOfHex(record.digest);
  const std::int64_t arrival = ArrivalOf(record);
  insertRecord_.BindBlob(1, digest);
  insertRecord_.Bind(2, at_.product);
  insertRecord_.Bind(3, at_.version);
  insertRecord_.Bind(4, at_.component);
  insertRecord_.Bind(5, at_.endpoint);
  BindOrNull(insertRecord_, 6, rows.user);
  insertRecord_.Bind(7, arrival);
  insertRecord_.Bind(8, AgeFrom(rows, arrival));
  insertRecord_.Bind(9, rows.headers);
  insertRecord_.Bind(10, rows.problems);
  insertRecord_.Bind(11, record.text);
  insertRecord_.Run();
  if (database_.Changes() == 0) {
    return AddOutcome::Double;
  }
  at_.record = database_.LastId();

  std::unordered_map<std::string_view, std::int64_t> sessions;
  for (const SessionPart& part : rows.sessions) {
    sessions[part.session] = AddSession(part);
  }
  for (const EventRow& event : rows.events) {
    AddEvent(event, sessions[event.session]);
  }
  AddEnvironment(rows.productEnvironment, 1);
  AddEnvironment(rows.machine, 2);
  return AddOutcome::Stored;
}

std::int64_t SqliteWriter::AddSession(const SessionPart& part) {
  upsertSession_.With(at_.product, part.session, at_.version, at_.endpoint, part.begin, part.end,
                      part.events, part.errors);
  upsertSession_.Step();
  const std::int64_t session = upsertSession_.Integer(0);
  upsertSession_.Run();
  return session;
}

void SqliteWriter::AddEvent(const EventRow& event, std::int64_t session) {
  const std::int64_t name = NameNumber(at_.product, event.name, event.kind);
  const std::string properties = event.properties.empty() ? "" : PropertiesJson(event.properties);
  const std::string environment =
      event.sessionEnvironment.empty() ? "" : PropertiesJson(event.sessionEnvironment);
  insertEvent_.With(at_.record, event.position, session, at_.product, at_.version, at_.component,
                    event.time, static_cast<std::int64_t>(event.kind), name);
  if (event.kind == EventKind::Error) {
    insertEvent_.Bind(10, event.code);
  } else {
    insertEvent_.Bind(10, nullptr);
  }
  BindOrNull(insertEvent_, 11, properties);
  BindOrNull(insertEvent_, 12, event.trace);
  BindOrNull(insertEvent_, 13, environment);
  insertEvent_.Run();
}

void SqliteWriter::AddEnvironment(const Environment& environment, std::int64_t source) {
  for (const Property& value : environment.values) {
    upsertEnvironment_.With(at_.endpoint, at_.product, source, value.key, value.text,
                            environment.time);
    upsertEnvironment_.Run();
  }
  if (environment.isPresent && environment.isComplete) {
    trimEnvironment_.With(at_.endpoint, at_.product, source, environment.time).Run();
  }
}

}  // namespace Gateway
