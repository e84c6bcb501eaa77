// SQLite's C API with owners for connections, statements and transactions. What SQLite refuses is
// thrown as SqliteError; the store catches it.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Gateway {

class SqliteError : public std::runtime_error {
 public:
  SqliteError(int code, const std::string& text) : std::runtime_error(text), code_(code) {}

  // Whether the file is the reason: full, locked, read-only, damaged. Another record would fail
  // too.
  bool IsOfMedium() const;
  int Code() const { return code_; }

 private:
  int code_;
};

// A prepared statement. Texts are bound without a copy and must live until it is reset.
class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);

  void Bind(int index, std::int64_t value);
  void Bind(int index, std::string_view value);
  void Bind(int index, std::nullptr_t);
  void BindBlob(int index, std::string_view bytes);
  // Does nothing if the statement has no such parameter.
  void BindName(const char* name, std::int64_t value);
  void BindName(const char* name, std::string_view value);
  void BindBlobName(const char* name, std::string_view bytes);

  // Binds all parameters in their order.
  template <typename... Values>
  Statement& With(const Values&... values) {
    int index = 0;
    (Bind(++index, values), ...);
    return *this;
  }

  // Whether there is a row.
  bool Step();
  // Steps to the end.
  void Run();
  void Reset();

  bool IsNull(int column) const;
  int Type(int column) const { return sqlite3_column_type(statement_.get(), column); }
  std::int64_t Integer(int column) const;
  double Number(int column) const;
  std::string_view Text(int column) const;  // until the next step

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  void Check(int code) const;

  sqlite3* database_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

// A connection. One thread at a time.
class Database {
 public:
  enum class Access { Write, Read };

  // `path` may be a URI ("file:/name?vfs=memdb"). Access::Write makes the file if there is none.
  // Waits `busyMilliseconds` for locks of others.
  Database(const std::string& path, Access access, int busyMilliseconds);

  void Execute(const std::string& sql);
  Statement Prepare(std::string_view sql) { return {handle_.get(), sql}; }
  // The one integer that `sql` selects.
  std::int64_t Integer(std::string_view sql);
  std::int64_t LastId() const { return sqlite3_last_insert_rowid(handle_.get()); }
  std::int64_t Changes() const { return sqlite3_changes64(handle_.get()); }
  sqlite3* Handle() const { return handle_.get(); }

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };

  std::unique_ptr<sqlite3, Close> handle_;
};

// The bytes that lower-case hexadecimal digits stand for.
std::string BytesOfHex(std::string_view hex);

// Holds the write lock from its begin on; rolls back unless committed.
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void Commit();

 private:
  Database& database_;
  bool isOpen_ = true;
};

}  // namespace Gateway
