#include "gateway/store/open_store.h"

#include <exception>

#include "gateway/store/clickhouse_store.h"
#include "gateway/store/sqlite_store.h"

namespace Gateway {

bool IsUrl(const std::string& where) {
  return where.starts_with("http://") || where.starts_with("https://");
}

std::unique_ptr<Store> OpenStore(const StoreOptions& options, std::string& error) {
  if (IsUrl(options.where)) {
    return OpenClickHouse(options.where, options.retentionDays, error);
  }
  try {
    SqliteOptions sqlite;
    sqlite.path = options.where;
    sqlite.retentionDays = options.retentionDays;
    return std::make_unique<SqliteStore>(std::move(sqlite));
  } catch (const std::exception& failure) {
    error = options.where + ": " + failure.what();
    return nullptr;
  }
}

}  // namespace Gateway
