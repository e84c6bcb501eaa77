#include "gateway/store/sqlite_database.h"

namespace Gateway {

bool SqliteError::IsOfMedium() const {
  switch (code_ & 0xFF) {
    case SQLITE_TOOBIG:
    case SQLITE_CONSTRAINT:
    case SQLITE_MISMATCH:
    case SQLITE_RANGE:
    case SQLITE_ERROR:
      return false;
    default:
      return true;
  }
}

Statement::Statement(sqlite3* database, std::string_view sql) : database_(database) {
  sqlite3_stmt* statement = nullptr;
  Check(
      sqlite3_prepare_v2(database, sql.data(), static_cast<int>(sql.size()), &statement, nullptr));
  statement_.reset(statement);
}

void Statement::Check(int code) const {
  if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE) {
    throw SqliteError(sqlite3_extended_errcode(database_), sqlite3_errmsg(database_));
  }
}

void Statement::Bind(int index, std::int64_t value) {
  Check(sqlite3_bind_int64(statement_.get(), index, value));
}

void Statement::Bind(int index, std::string_view value) {
  const char* text = value.data() != nullptr ? value.data() : "";
  Check(
      sqlite3_bind_text64(statement_.get(), index, text, value.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::Bind(int index, std::nullptr_t) {
  Check(sqlite3_bind_null(statement_.get(), index));
}

void Statement::BindBlob(int index, std::string_view bytes) {
  Check(sqlite3_bind_blob64(statement_.get(), index, bytes.data(), bytes.size(), SQLITE_STATIC));
}

void Statement::BindName(const char* name, std::int64_t value) {
  if (const int index = sqlite3_bind_parameter_index(statement_.get(), name); index > 0) {
    Bind(index, value);
  }
}

void Statement::BindName(const char* name, std::string_view value) {
  if (const int index = sqlite3_bind_parameter_index(statement_.get(), name); index > 0) {
    Bind(index, value);
  }
}

void Statement::BindBlobName(const char* name, std::string_view bytes) {
  if (const int index = sqlite3_bind_parameter_index(statement_.get(), name); index > 0) {
    BindBlob(index, bytes);
  }
}

bool Statement::Step() {
  const int code = sqlite3_step(statement_.get());
  if (code != SQLITE_ROW && code != SQLITE_DONE) {
    const int extended = sqlite3_extended_errcode(database_);
    const std::string text = sqlite3_errmsg(database_);
    sqlite3_reset(statement_.get());
    throw SqliteError(extended, text);
  }
  return code == SQLITE_ROW;
}

void Statement::Run() {
  while (Step()) {
  }
  Reset();
}

void Statement::Reset() {
  sqlite3_reset(statement_.get());
}

bool Statement::IsNull(int column) const {
  return Type(column) == SQLITE_NULL;
}

std::int64_t Statement::Integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

double Statement::Number(int column) const {
  return sqlite3_column_double(statement_.get(), column);
}

std::string_view Statement::Text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
  return text != nullptr ? std::string_view(text, size) : std::string_view();
}

Database::Database(const std::string& path, Access access, int busyMilliseconds) {
  sqlite3* handle = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX |
                    (path.starts_with("file:/") ? SQLITE_OPEN_URI : 0) |
                    (access == Access::Write ? SQLITE_OPEN_CREATE : 0);
  const int code = sqlite3_open_v2(path.c_str(), &handle, flags, nullptr);
  handle_.reset(handle);
  if (code != SQLITE_OK) {
    throw SqliteError(code, handle != nullptr ? sqlite3_errmsg(handle) : "out of memory");
  }
  sqlite3_busy_timeout(handle, busyMilliseconds);
  if (access == Access::Read) {
    Execute("PRAGMA query_only = ON");
  }
}

void Database::Execute(const std::string& sql) {
  if (sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw SqliteError(sqlite3_extended_errcode(handle_.get()), sqlite3_errmsg(handle_.get()));
  }
}

std::int64_t Database::Integer(std::string_view sql) {
  Statement statement = Prepare(sql);
  return statement.Step() ? statement.Integer(0) : 0;
}

std::string BytesOfHex(std::string_view hex) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(digit(hex[i]) * 16 + digit(hex[i + 1]));
  }
  return bytes;
}

Transaction::Transaction(Database& database) : database_(database) {
  database_.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  // SQLite has rolled back by itself after some errors; then this one fails and means nothing.
  if (isOpen_) {
    sqlite3_exec(database_.Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void Transaction::Commit() {
  database_.Execute("COMMIT");
  isOpen_ = false;
}

}  // namespace Gateway
