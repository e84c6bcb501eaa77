// The floor for an SQLite store: the same rows into the same tables by prepared statements, without
// a queue, checks for doubles, searches for numbers of names, or a thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "gateway/record_reader.h"
#include "gateway/store/rows.h"
#include "gateway/store/sqlite_database.h"

namespace Gateway {

class PlainInserts {
 public:
  explicit PlainInserts(const std::vector<std::shared_ptr<const Record>>& records);

  // Into an empty store; commits 100 records at a time.
  void Write(Database& database) const;

 private:
  struct Event {
    std::int64_t session;
    std::int64_t name;
    std::int64_t time;
    std::int64_t kind;
    std::string code;
    std::string properties;
    std::string trace;
  };
  struct OneRecord {
    std::int64_t id;
    std::string digest;
    std::int64_t product;
    std::int64_t version;
    std::int64_t endpoint;
    std::string user;
    std::string headers;
    std::string text;
    std::vector<Event> events;
    std::vector<std::pair<std::int64_t, SessionPart>> sessions;
    std::vector<Property> environment;
  };

  std::vector<OneRecord> records_;
};

}  // namespace Gateway
