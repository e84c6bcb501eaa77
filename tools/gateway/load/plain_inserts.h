// The floor for an SQLite store: the same rows into the same tables by prepared statements, without
// a queue, checks for doubles, searches for numbers of names, or a thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "gateway/record_reader.h"

namespace Gateway {

// Makes the file. Commits 100 records at a time. Returns the seconds of the inserts alone.
double InsertPlainly(const std::string& path,
                     const std::vector<std::shared_ptr<const Record>>& records);

}  // namespace Gateway
