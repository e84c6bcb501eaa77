#include "gateway/load/plain_inserts.h"

#include <algorithm>
#include <map>

namespace Gateway {
namespace {

constexpr std::size_t kBatch = 100;

// Every text has the number that it would get in the store.
class Numbers {
 public:
  std::int64_t Of(const std::string& text) {
    return numbers_.try_emplace(text, static_cast<std::int64_t>(numbers_.size()) + 1).first->second;
  }

 private:
  std::map<std::string, std::int64_t> numbers_;
};

}  // namespace

PlainInserts::PlainInserts(const std::vector<std::shared_ptr<const Record>>& records) {
  Numbers products;
  Numbers versions;
  Numbers endpoints;
  Numbers names;
  Numbers sessions;
  for (const auto& record : records) {
    const auto rows = RowsOf(*record);
    OneRecord& one = records_.emplace_back();
    one.id = static_cast<std::int64_t>(records_.size());
    one.digest = BytesOfHex(record->digest);
    one.product = products.Of(rows->product);
    one.version = versions.Of(rows->product + rows->version);
    one.endpoint = endpoints.Of(rows->endpoint);
    one.user = rows->user;
    one.headers = rows->headers;
    one.text = record->text;
    for (const SessionPart& part : rows->sessions) {
      one.sessions.emplace_back(sessions.Of(part.session), part);
    }
    for (const EventRow& event : rows->events) {
      one.events.push_back({sessions.Of(event.session), names.Of(rows->product + event.name),
                            event.time, static_cast<std::int64_t>(event.kind), event.code,
                            event.properties.empty() ? "" : PropertiesJson(event.properties),
                            event.trace});
    }
    for (const Environment* part : {&rows->productEnvironment, &rows->machine}) {
      one.environment.insert(one.environment.end(), part->values.begin(), part->values.end());
    }
  }
}

void PlainInserts::Write(Database& database) const {
  Statement insertRecord =
      database.Prepare("INSERT INTO records VALUES(?1, ?2, ?3, ?4, 0, ?5, ?6, 0, 0, ?7, '[]', ?8)");
  Statement insertSession = database.Prepare(
      "INSERT INTO sessions VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT(id) DO UPDATE SET"
      " end_time = excluded.end_time, events = events + excluded.events");
  Statement insertEvent = database.Prepare(
      "INSERT INTO events VALUES(NULL, ?, ?, ?, ?, ?, 0, ?, ?, ?, nullif(?, ''), nullif(?, ''),"
      " nullif(?, ''), NULL)");
  Statement insertValue =
      database.Prepare("INSERT OR REPLACE INTO environment VALUES(?, ?, 1, ?, ?, 0)");
  for (std::size_t at = 0; at < records_.size();) {
    Transaction transaction(database);
    for (const std::size_t end = std::min(records_.size(), at + kBatch); at < end; ++at) {
      const OneRecord& one = records_[at];
      insertRecord.With(one.id, one.digest, one.product, one.version, one.endpoint, one.user,
                        one.headers, one.text);
      insertRecord.BindBlob(2, one.digest);
      insertRecord.Run();
      for (const auto& [id, part] : one.sessions) {
        insertSession
            .With(id, one.product, part.session, one.version, one.endpoint, part.begin, part.end,
                  part.events, part.errors)
            .Run();
      }
      std::int64_t position = 0;
      for (const Event& event : one.events) {
        insertEvent
            .With(one.id, position++, event.session, one.product, one.version, event.time,
                  event.kind, event.name, event.code, event.properties, event.trace)
            .Run();
      }
      for (const Property& value : one.environment) {
        insertValue.With(one.endpoint, one.product, value.key, value.text).Run();
      }
    }
    transaction.Commit();
  }
}

}  // namespace Gateway
