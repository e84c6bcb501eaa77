// The tables, indexes and views of an SQLite store. docs/analysis.md describes the views.
#pragma once

#include "gateway/store/sqlite_database.h"

namespace Gateway {

// The layout of the tables that this program reads and writes.
inline constexpr int kSchemaVersion = 1;

// Prepares a connection that writes: write-ahead log, every commit synchronised with the medium,
// deleted bytes overwritten. Makes the tables in an empty file. Throws SqliteError if the file is
// no store, or a newer one.
void PrepareStore(Database& database);

}  // namespace Gateway
