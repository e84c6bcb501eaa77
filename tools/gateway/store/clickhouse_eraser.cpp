#include "gateway/store/clickhouse_eraser.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "gateway/store/clickhouse_questions.h"
#include "gateway/store/clickhouse_rows.h"
#include "gateway/store/clickhouse_schema.h"
#include "gateway/store/questions.h"
#include "gateway/store/row_binary.h"

namespace Gateway {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kStatementTimeout{20};
constexpr std::chrono::minutes kForgetTimeout{2};
constexpr std::chrono::milliseconds kPollInterval{100};
constexpr std::chrono::hours kRetentionInterval{1};
constexpr std::size_t kMaxDigestBytes = 200;

// Deletes rows of all tables and their traces on the disk. Failures are in Error(); after one, the
// functions do nothing.
class Eraser {
 public:
  Eraser(ClickHouseClient& client, std::string_view digest)
      : client_(client),
        digest_(QuoteSql(digest)),
        condition_("endpoint = " + digest_ + " OR user = " + digest_),
        tables_("database = '" + client.Address().database + '\''),
        deadline_(Clock::now() + kForgetTimeout) {}

  const std::string& Error() const { return error_; }

  std::int64_t CountRecords() {
    return Read("SELECT toInt64(uniqExact(digest)) FROM record_rows WHERE " + condition_);
  }

  // Rows, or the statement that deleted them.
  bool HasTraces() {
    return Read("SELECT toInt64(count()) FROM record_rows WHERE " + condition_) > 0 ||
           Read("SELECT toInt64(count()) FROM event_rows WHERE " + condition_) > 0 ||
           Read(CountMutations()) > 0;
  }

  // The server's clock, s since the epoch.
  std::int64_t Now() { return Read("SELECT toInt64(toUInt32(now()))"); }

  // Returns when the rows were deleted.
  std::int64_t Erase() {
    Delete(condition_);
    const std::int64_t deleted = Now();
    // Takes the text of the statements before off the disk: the last one of a table is kept.
    Delete("0");
    Await(CountMutations());
    return deleted;
  }

  // Until the files of the parts that were replaced until then are gone.
  void AwaitRemoval(std::int64_t deleted) {
    Await("SELECT toInt64(count()) FROM system.parts WHERE " + tables_ +
          " AND NOT active AND toInt64(toUInt32(remove_time)) <= " + std::to_string(deleted));
  }

 private:
  std::string CountMutations() const {
    return "SELECT toInt64(count()) FROM system.mutations WHERE " + tables_ +
           " AND position(command, " + digest_ + ") > 0";
  }

  void Delete(const std::string& condition) {
    for (const std::string_view table : kClickHouseTables) {
      if (error_.empty()) {
        const ClickHouseReply reply = client_.Execute(
            "ALTER TABLE " + std::string(table) + " DELETE WHERE " + condition, kStatementTimeout);
        error_ = reply.IsOk() ? "" : reply.text;
      }
    }
    Await("SELECT toInt64(count()) FROM system.mutations WHERE " + tables_ + " AND NOT is_done");
  }

  std::int64_t Read(const std::string& sql) {
    std::int64_t number = 0;
    if (error_.empty()) {
      ReadClickHouseNumber(client_, sql, number, error_);
    }
    return number;
  }

  // Until the statement's number is 0. The server removes files once in ten seconds.
  void Await(const std::string& sql) {
    while (Read(sql) > 0 && error_.empty()) {
      if (Clock::now() > deadline_) {
        error_ = "ClickHouse has not yet removed all files that hold deleted rows";
      } else {
        std::this_thread::sleep_for(kPollInterval);
      }
    }
  }

  ClickHouseClient& client_;
  const std::string digest_;
  const std::string condition_;
  const std::string tables_;
  const Clock::time_point deadline_;
  std::string error_;
};

bool IsDigest(std::string_view text) {
  return !text.empty() && text.size() <= kMaxDigestBytes &&
         std::ranges::all_of(text, [](unsigned char c) { return c > 0x20 && c < 0x7F; });
}

// Drops the days before `first` from a table.
bool DropDays(ClickHouseClient& client,
              const std::string& table,
              const std::string& first,
              std::string& error) {
  const ClickHouseReply days =
      client.Execute("SELECT DISTINCT toString(day) FROM " + table + " WHERE day < " +
                         QuoteSql(first) + " FORMAT RowBinary",
                     kStatementTimeout);
  error = days.IsOk() ? "" : days.text;
  const std::string drop = "ALTER TABLE " + table + " DROP PARTITION ";
  for (RowBinary rows(days.text); error.empty() && !rows.IsAtEnd();) {
    std::string statement = drop;
    statement += QuoteSql(rows.Text());
    const ClickHouseReply reply = client.Execute(statement, kStatementTimeout);
    error = reply.IsOk() ? "" : reply.text;
  }
  return error.empty();
}

}  // namespace

std::int64_t ForgetInClickHouse(ClickHouseClient& client,
                                std::string_view digest,
                                std::string& error) {
  if (!IsDigest(digest)) {
    error = "not the digest of an endpoint or a user";
    return -1;
  }
  Eraser eraser(client, digest);
  const std::int64_t records = eraser.CountRecords();
  // Also if nothing is left: a run that was interrupted has not waited.
  eraser.AwaitRemoval(eraser.HasTraces() ? eraser.Erase() : eraser.Now());
  error = eraser.Error();
  return error.empty() ? records : -1;
}

bool DropOldDays(ClickHouseClient& client, std::int64_t retentionDays, std::string& error) {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(
      std::chrono::system_clock::now().time_since_epoch());
  const std::string first = ClickHouseDay(now.count() - retentionDays * kDay);
  // Records first: their events are invisible at once.
  return DropDays(client, "record_rows", first, error) &&
         DropDays(client, "event_rows", first, error);
}

ClickHouseRetention::ClickHouseRetention(const ClickHouseAddress& address, int retentionDays)
    : client_(address) {
  if (retentionDays > 0) {
    thread_ = std::thread([this, retentionDays] { Run(retentionDays); });
  }
}

ClickHouseRetention::~ClickHouseRetention() {
  {
    const std::lock_guard guard(lock_);
    isEnding_ = true;
  }
  wake_.notify_one();
  if (thread_.joinable()) {
    thread_.join();
  }
}

void ClickHouseRetention::Run(int retentionDays) {
  std::unique_lock guard(lock_);
  while (!isEnding_) {
    guard.unlock();
    std::string error;
    if (!DropOldDays(client_, retentionDays, error)) {
      std::fprintf(stderr, "gateway: old records are not deleted; next try in an hour: %s\n",
                   error.c_str());
    }
    guard.lock();
    wake_.wait_for(guard, kRetentionInterval, [this] { return isEnding_; });
  }
}

}  // namespace Gateway
