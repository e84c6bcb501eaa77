// Databases on the ClickHouse server that with_clickhouse.sh has started.
#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "gateway/record_reader.h"
#include "gateway/store/clickhouse_client.h"
#include "gateway/store/clickhouse_questions.h"
#include "gateway/store/clickhouse_store.h"

namespace Gateway {

inline std::string FromTestServer(const char* variable) {
  const char* value = std::getenv(variable);
  EXPECT_NE(value, nullptr) << "run this test with tests/support/with_clickhouse.sh";
  return value != nullptr ? value : "";
}

// The URL of a database, which another test does not use.
inline std::string DatabaseUrl(const std::string& name) {
  const std::string url = FromTestServer("TAV_TEST_CLICKHOUSE");
  return url.substr(0, url.rfind('/') + 1) + name;
}

inline std::unique_ptr<Store> OpenDatabase(const std::string& name, int retentionDays = 0) {
  std::string error;
  auto store = OpenClickHouse(DatabaseUrl(name), retentionDays, error);
  EXPECT_NE(store, nullptr) << error;
  return store;
}

inline ClickHouseClient ConnectTo(const std::string& name) {
  std::string error;
  return ClickHouseClient(ParseClickHouseUrl(DatabaseUrl(name), error).value());
}

// What a statement answers, in tab-separated lines; the reason after a failure.
inline std::string Select(const std::string& database, const std::string& sql) {
  ClickHouseClient client = ConnectTo(database);
  return client.Execute(sql, std::chrono::seconds(30)).text;
}

inline std::shared_ptr<const Record> ReadText(std::string text) {
  return std::make_shared<Record>(
      ReadRecord({.target = "/", .headers = {}, .body = std::move(text)}));
}

// Adds records and waits for all outcomes, which come in the order of the records.
class Outcomes {
 public:
  explicit Outcomes(std::size_t count) : results_(count), open_(count) {}

  Store::Done At(std::size_t index) {
    return [this, index](const AddResult& result) {
      const std::lock_guard guard(lock_);
      results_[index] = result;
      --open_;
      changed_.notify_one();
    };
  }

  const std::vector<AddResult>& Wait() {
    std::unique_lock guard(lock_);
    EXPECT_TRUE(changed_.wait_for(guard, std::chrono::seconds(90), [this] { return open_ == 0; }));
    return results_;
  }

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  std::vector<AddResult> results_;
  std::size_t open_;
};

inline std::vector<AddResult> Deliver(Store& store,
                                      const std::vector<std::shared_ptr<const Record>>& records) {
  Outcomes outcomes(records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    store.Add(records[i], outcomes.At(i));
  }
  return outcomes.Wait();
}

inline AddResult DeliverText(Store& store, std::string text) {
  return Deliver(store, {ReadText(std::move(text))}).front();
}

}  // namespace Gateway
