// Removes records from ClickHouse: those of an endpoint or a user, and those that are too old.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "gateway/store/clickhouse_client.h"

namespace Gateway {

// Deletes the rows of an endpoint or a user and waits until ClickHouse has removed the files that
// held them, for two minutes at most. Returns the number of records that were deleted, or -1 with
// the reason in `error`; then rows or files may remain, and the call can be repeated.
std::int64_t ForgetInClickHouse(ClickHouseClient& client,
                                std::string_view digest,
                                std::string& error);

// Drops the days of arrival before the retention. False with the reason in `error` if that fails.
bool DropOldDays(ClickHouseClient& client, std::int64_t retentionDays, std::string& error);

// Drops old days, at the start and every hour, on a thread of its own. 0 days: does nothing.
class ClickHouseRetention {
 public:
  ClickHouseRetention(const ClickHouseAddress& address, int retentionDays);
  ClickHouseRetention(const ClickHouseRetention&) = delete;
  ClickHouseRetention& operator=(const ClickHouseRetention&) = delete;
  ~ClickHouseRetention();

 private:
  void Run(int retentionDays);

  ClickHouseClient client_;  // used by the thread alone
  std::mutex lock_;
  std::condition_variable wake_;
  bool isEnding_ = false;
  std::thread thread_;
};

}  // namespace Gateway
