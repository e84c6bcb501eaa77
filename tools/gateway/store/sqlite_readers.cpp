#include "gateway/store/sqlite_readers.h"

#include <utility>

namespace Gateway {
namespace {

constexpr int kBusyMilliseconds = 1000;
// Steps of SQLite's machine between two looks at the clock: a fraction of a millisecond.
constexpr int kStepsPerLook = 10'000;

// Ends statements of a connection when the time is over.
class Deadline {
 public:
  Deadline(sqlite3* database, std::chrono::steady_clock::time_point end)
      : database_(database), end_(end) {
    sqlite3_progress_handler(
        database, kStepsPerLook,
        [](void* self) { return static_cast<const Deadline*>(self)->IsOver() ? 1 : 0; }, this);
  }
  ~Deadline() { sqlite3_progress_handler(database_, 0, nullptr, nullptr); }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

 private:
  bool IsOver() const { return std::chrono::steady_clock::now() >= end_; }

  sqlite3* database_;
  std::chrono::steady_clock::time_point end_;
};

}  // namespace

SqliteReaders::SqliteReaders(const std::string& path, int count) {
  for (int i = 0; i < count; ++i) {
    free_.push_back(std::make_unique<Database>(path, Database::Access::Read, kBusyMilliseconds));
  }
}

std::unique_ptr<Database> SqliteReaders::Take(Time end) {
  std::unique_lock guard(lock_);
  if (!isFree_.wait_until(guard, end, [this] { return !free_.empty(); })) {
    return nullptr;
  }
  std::unique_ptr<Database> database = std::move(free_.back());
  free_.pop_back();
  return database;
}

void SqliteReaders::GiveBack(std::unique_ptr<Database> database) {
  const std::scoped_lock guard(lock_);
  free_.push_back(std::move(database));
  isFree_.notify_one();
}

Answer SqliteReaders::Ask(const Query& query, std::chrono::milliseconds deadline) {
  const Time end = std::chrono::steady_clock::now() + deadline;
  std::unique_ptr<Database> database = Take(end);
  if (database == nullptr) {
    return ErrorAnswer(503, "other questions take too long");
  }
  Answer answer;
  try {
    const Deadline limit(database->Handle(), end);
    answer = AnswerQuery(*database, query);
  } catch (const SqliteError& error) {
    answer = ErrorAnswer(
        503, error.Code() == SQLITE_INTERRUPT ? "the question takes too long" : error.what());
  } catch (const std::exception& error) {
    answer = ErrorAnswer(503, error.what());
  }
  GiveBack(std::move(database));
  return answer;
}

}  // namespace Gateway
