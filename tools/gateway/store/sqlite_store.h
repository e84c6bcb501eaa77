// A store in an SQLite file, or in memory until it is destroyed. One thread writes: it commits what
// has gathered while it wrote before.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "gateway/store/sqlite_readers.h"
#include "gateway/store/sqlite_writer.h"
#include "gateway/store/store.h"

namespace Gateway {

inline constexpr char kInMemory[] = ":memory:";

struct SqliteOptions {
  std::string path;                                       // kInMemory: no file
  int retentionDays = 0;                                  // 0 keeps records for ever
  std::chrono::milliseconds busy{5000};                   // how long to wait for another process
  std::chrono::milliseconds deadline{10'000};             // of a question
  std::size_t maxWaiting = 10'000;                        // records
  std::size_t maxWaitingBytes = std::size_t{512} << 20U;  // that they take in memory
};

// A new file is readable by its owner only.
class SqliteStore : public Store {
 public:
  // Throws SqliteError.
  explicit SqliteStore(SqliteOptions options);
  ~SqliteStore() override;

  void Add(std::shared_ptr<const Record> record, Done done) override;
  Answer Ask(std::string_view question, const Parameters& parameters) override;
  std::int64_t Forget(std::string_view digest, std::string& error) override;

 private:
  using Clock = std::chrono::steady_clock;

  struct Waiting {
    std::shared_ptr<const Record> record;
    Done done;
    std::size_t bytes = 0;
  };
  using Batch = std::vector<Waiting>;

  bool IsFull(std::size_t addedBytes) const;
  void Run();
  // What to do next: a batch, a job, or neither when it is time for maintenance. False at the end.
  bool Take(Batch& batch, std::function<void()>& job);
  void Write(const Batch& batch);
  // In one transaction. Throws SqliteError.
  std::vector<AddResult> WriteTogether(const Batch& batch);
  AddResult WriteOne(const Waiting& waiting);
  bool IsExpired(const Record& record, const RecordRows& rows) const;
  void Maintain();
  void ApplyRetention();
  bool IsIdle();

  const SqliteOptions options_;
  Database database_;
  std::unique_ptr<SqliteWriter> writer_;
  std::unique_ptr<SqliteReaders> readers_;

  // Of the writer thread.
  bool hasLog_ = true;
  bool hasDeleted_ = false;
  bool isRetentionFailing_ = false;
  Clock::time_point nextRetention_ = Clock::now();
  Clock::time_point nextEmptying_ = Clock::now();

  std::mutex lock_;  // guards what follows
  std::condition_variable isWork_;
  std::deque<Waiting> waiting_;
  std::size_t waitingBytes_ = 0;
  std::deque<std::function<void()>> jobs_;
  bool isEnding_ = false;

  std::thread thread_;
};

}  // namespace Gateway
