// Stores records in ClickHouse, many at a time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_set>
#include <vector>

#include "gateway/store/clickhouse_client.h"
#include "gateway/store/clickhouse_rows.h"
#include "gateway/store/store.h"

namespace Gateway {

// The digests that were stored last. Not thread-safe.
class RecentDigests {
 public:
  bool Contains(const std::string& digest) const { return known_.contains(digest); }
  void Add(const std::string& digest);
  void Clear();

 private:
  std::unordered_set<std::string> known_;
  std::deque<std::string> order_;
};

struct ClickHouseLimits {
  // Of what waits. One record may have more bytes: it has to pass at some time.
  std::size_t maxQueuedRecords = 20'000;
  std::size_t maxQueuedBytes = std::size_t{256} * 1024 * 1024;
  std::chrono::milliseconds insertTimeout{20'000};  // of one statement
};

// Thread-safe. One thread inserts; while it does, the next batch gathers.
class ClickHouseWriter {
 public:
  explicit ClickHouseWriter(ClickHouseAddress address, ClickHouseLimits limits = {});
  ClickHouseWriter(const ClickHouseWriter&) = delete;
  ClickHouseWriter& operator=(const ClickHouseWriter&) = delete;
  // Stores what waits, or fails all of it if the server does not answer.
  ~ClickHouseWriter();

  // As Store::Add. When the server does not answer, everything that waits fails.
  void Add(ClickHouseRecord record, Store::Done done);

  // Called when records have been deleted: they may arrive again.
  void ClearRecentDigests();

 private:
  struct Entry {
    ClickHouseRecord record;
    Store::Done done;
    std::chrono::steady_clock::time_point added;
    AddOutcome outcome = AddOutcome::Failed;
  };
  using Batch = std::vector<Entry>;

  void Run();
  Batch NextBatch();  // empty at the end
  bool IsBatchReady() const;
  void Store(Batch& batch);
  std::vector<Entry*> Unknown(Batch& batch);
  // Marks the entries that are stored. Returns the answer that failed, if one did.
  ClickHouseReply Insert(std::span<Entry* const> entries);
  ClickHouseReply TryInsert(std::span<Entry* const> entries);

  const ClickHouseLimits limits_;
  ClickHouseClient client_;  // used by the thread alone

  std::mutex lock_;  // guards everything below
  std::condition_variable wake_;
  std::deque<Entry> queue_;
  std::size_t queuedBytes_ = 0;
  RecentDigests recent_;
  bool isEnding_ = false;

  std::thread thread_;  // the last member: runs when all others are there
};

}  // namespace Gateway
