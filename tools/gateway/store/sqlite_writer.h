// Writes records into an SQLite store.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "gateway/store/rows.h"
#include "gateway/store/sqlite_database.h"
#include "gateway/store/store.h"

namespace Gateway {

// One thread. Functions throw SqliteError.
class SqliteWriter {
 public:
  // `database` is prepared and outlives the writer.
  explicit SqliteWriter(Database& database);

  // Call at the start of each transaction: another process may have deleted names whose numbers are
  // kept in memory.
  void Begin();
  // Call after a transaction that failed, because names that it made are gone, and after deleting.
  void ForgetNumbers() { numbers_.clear(); }

  // Within a transaction. Stored or Double.
  AddOutcome Add(const Record& record, const RecordRows& rows);

 private:
  enum Dictionary : std::size_t { Products, Versions, Components, Endpoints, DictionaryCount };

  std::int64_t NumberOf(Dictionary dictionary, std::int64_t product, std::string_view text);
  std::int64_t NameNumber(std::int64_t product, std::string_view name, EventKind kind);
  template <typename Find>
  std::int64_t Remember(std::string key, Find find);

  std::int64_t AddSession(const SessionPart& part);
  void AddEvent(const EventRow& event, std::int64_t session);
  void AddEnvironment(const Environment& environment, std::int64_t source);

  // What all rows of the record at hand have in common.
  struct Context {
    std::int64_t record = 0;
    std::int64_t product = 0;
    std::int64_t version = 0;
    std::int64_t component = 0;
    std::int64_t endpoint = 0;
  };

  Database& database_;
  Context at_;
  std::unordered_map<std::string, std::int64_t> numbers_;
  std::int64_t dataVersion_ = 0;

  Statement readDataVersion_;
  std::array<Statement, DictionaryCount> find_;
  std::array<Statement, DictionaryCount> insert_;
  Statement findName_;
  Statement insertName_;
  Statement insertRecord_;
  Statement upsertSession_;
  Statement insertEvent_;
  Statement upsertEnvironment_;
  Statement trimEnvironment_;
};

// From when on the record's age counts: its newest event, at most the arrival, because a client's
// clock may be ahead.
std::int64_t AgeFrom(const RecordRows& rows, std::int64_t arrival);

}  // namespace Gateway
