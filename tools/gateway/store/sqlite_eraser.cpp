#include "gateway/store/sqlite_eraser.h"

#include <chrono>
#include <set>
#include <thread>
#include <vector>

namespace Gateway {
namespace {

constexpr std::chrono::seconds kMaxLogWait{10};

using Ids = std::vector<std::int64_t>;

Ids IdsOf(Statement& statement) {
  Ids ids;
  while (statement.Step()) {
    ids.push_back(statement.Integer(0));
  }
  statement.Reset();
  return ids;
}

// Deletes the records with their events and brings their sessions up to date.
void DeleteRecords(Database& database, const Ids& records) {
  Statement sessionsOf = database.Prepare("SELECT DISTINCT session FROM events WHERE record = ?");
  Statement remove = database.Prepare("DELETE FROM records WHERE id = ?");
  std::set<std::int64_t> sessions;
  for (const std::int64_t record : records) {
    const Ids touched = IdsOf(sessionsOf.With(record));
    sessions.insert(touched.begin(), touched.end());
    remove.With(record).Run();
  }
  Statement removeEmpty = database.Prepare(
      "DELETE FROM sessions WHERE id = ?1 AND NOT EXISTS (SELECT 1 FROM events WHERE session = "
      "?1)");
  // The first event that is left gives version and endpoint.
  Statement update = database.Prepare(R"(
    UPDATE sessions SET
      (begin_time, end_time, events, errors) =
        (SELECT min(time), max(time), count(*), count(code) FROM events WHERE session = ?1),
      (version, endpoint) =
        (SELECT e.version, r.endpoint FROM events e JOIN records r ON r.id = e.record
         WHERE e.session = ?1 ORDER BY e.time LIMIT 1)
    WHERE id = ?1)");
  for (const std::int64_t session : sessions) {
    removeEmpty.With(session).Run();
    update.With(session).Run();
  }
}

// Names, endpoints and the rest that nothing refers to. Every check is one search in an index.
constexpr char kDeleteOrphans[] = R"(
DELETE FROM names WHERE NOT EXISTS
  (SELECT 1 FROM events e INDEXED BY events_name WHERE e.product = names.product AND e.name = names.id);
DELETE FROM versions WHERE NOT EXISTS
  (SELECT 1 FROM records r INDEXED BY records_version WHERE r.version = versions.id);
DELETE FROM components WHERE NOT EXISTS
  (SELECT 1 FROM records r INDEXED BY records_component
   WHERE r.component = components.id AND r.component > 0);
DELETE FROM endpoints WHERE NOT EXISTS
  (SELECT 1 FROM records r INDEXED BY records_endpoint WHERE r.endpoint = endpoints.id);
DELETE FROM products WHERE NOT EXISTS
  (SELECT 1 FROM versions v WHERE v.product = products.id);
DELETE FROM environment WHERE endpoint NOT IN (SELECT id FROM endpoints);
)";

}  // namespace

std::int64_t DeleteOlder(Database& database, std::int64_t time, std::int64_t limit) {
  Transaction transaction(database);
  Statement find =
      database.Prepare("SELECT id FROM records WHERE age_from < ? ORDER BY age_from LIMIT ?");
  const Ids records = IdsOf(find.With(time, limit));
  DeleteRecords(database, records);
  transaction.Commit();
  return static_cast<std::int64_t>(records.size());
}

void DeleteOrphans(Database& database) {
  Transaction transaction(database);
  database.Execute(kDeleteOrphans);
  transaction.Commit();
}

bool EmptyLog(Database& database) {
  Statement checkpoint = database.Prepare("PRAGMA wal_checkpoint(TRUNCATE)");
  const bool isBusy = !checkpoint.Step() || checkpoint.Integer(0) != 0;
  return !isBusy;
}

std::int64_t ForgetDigest(Database& database, std::string_view digest) {
  Ids records;
  {
    Transaction transaction(database);
    // What the endpoint reported of itself goes too, even if only one of its users is forgotten.
    Statement forgetEnvironment = database.Prepare(R"(
      DELETE FROM environment WHERE endpoint IN
        (SELECT id FROM endpoints WHERE endpoint = ?1
         UNION SELECT endpoint FROM records WHERE user = ?1))");
    forgetEnvironment.With(digest).Run();
    Statement find = database.Prepare(R"(
      SELECT id FROM records WHERE endpoint = (SELECT id FROM endpoints WHERE endpoint = ?1)
      UNION SELECT id FROM records WHERE user = ?1)");
    records = IdsOf(find.With(digest));
    DeleteRecords(database, records);
    database.Execute(kDeleteOrphans);
    transaction.Commit();
  }
  // SQLite overwrites what it deletes, but rows that it once moved between pages may have left
  // copies in the gaps of the old pages. Only a new file has none.
  database.Execute("VACUUM");
  const auto end = std::chrono::steady_clock::now() + kMaxLogWait;
  while (!EmptyLog(database)) {
    if (std::chrono::steady_clock::now() > end) {
      throw SqliteError(SQLITE_BUSY,
                        "the records are deleted, but readers keep the log with their bytes; "
                        "forget the digest again");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return static_cast<std::int64_t>(records.size());
}

}  // namespace Gateway
