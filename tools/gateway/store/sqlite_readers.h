// The connections on which an SQLite store answers questions, apart from the one that writes.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "gateway/store/sqlite_questions.h"

namespace Gateway {

// Thread-safe.
class SqliteReaders {
 public:
  // Opens `count` connections. Throws SqliteError.
  SqliteReaders(const std::string& path, int count);

  // Blocks for `deadline` at most, the wait for a connection included. Status 503 on failure.
  Answer Ask(const Query& query, std::chrono::milliseconds deadline);

 private:
  using Time = std::chrono::steady_clock::time_point;

  std::unique_ptr<Database> Take(Time end);  // null if none is free in time
  void GiveBack(std::unique_ptr<Database> database);

  std::mutex lock_;
  std::condition_variable isFree_;
  std::vector<std::unique_ptr<Database>> free_;
};

}  // namespace Gateway
