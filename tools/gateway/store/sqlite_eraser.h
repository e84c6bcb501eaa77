// Deletes records from an SQLite store: those that are too old, and those of one person or machine.
#pragma once

#include <cstdint>
#include <string_view>

#include "gateway/store/sqlite_database.h"

namespace Gateway {

// Deletes the oldest records from before `time`, `limit` at most, in a transaction. Returns how
// many there were. Throws SqliteError.
std::int64_t DeleteOlder(Database& database, std::int64_t time, std::int64_t limit);

// Deletes names that no event has any more, and so on, in a transaction. Throws SqliteError.
void DeleteOrphans(Database& database);

// Moves the log into the file and empties it. False if readers prevent it now. Throws SqliteError.
bool EmptyLog(Database& database);

// Deletes the endpoint's or user's records and rewrites the file, so that no byte of them is left
// in it or in its log. Returns how many there were. Throws SqliteError; what is deleted then stays
// so.
std::int64_t ForgetDigest(Database& database, std::string_view digest);

}  // namespace Gateway
