#include "gateway/store/clickhouse_store.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

#include "gateway/store/clickhouse_eraser.h"
#include "gateway/store/clickhouse_questions.h"
#include "gateway/store/clickhouse_rows.h"
#include "gateway/store/clickhouse_schema.h"
#include "gateway/store/clickhouse_writer.h"
#include "gateway/store/questions.h"

namespace Gateway {
namespace {

constexpr std::chrono::seconds kOpenTimeout{10};
constexpr std::chrono::milliseconds kOpenInterval{200};
constexpr std::chrono::seconds kSchemaTimeout{20};

class ClickHouseStore final : public Store {
 public:
  ClickHouseStore(const ClickHouseAddress& address, int retentionDays)
      : address_(address),
        retention_(retentionDays * kDay),
        writer_(address),
        retentionThread_(address, retentionDays) {}

  void Add(std::shared_ptr<const Record> record, Done done) override {
    const std::shared_ptr<const RecordRows> rows = RowsOf(*record);
    if (IsExpired(*record, *rows)) {
      done({AddOutcome::Expired, {}});
    } else {
      writer_.Add(MakeClickHouseRecord(*record, *rows), std::move(done));
    }
  }

  Answer Ask(std::string_view question, const Parameters& parameters) override {
    const ParsedQuestion parsed = ParseQuestion(question, parameters);
    if (!parsed.query) {
      return parsed.refusal;
    }
    ClickHouseClient client(address_);
    return AskClickHouse(client, *parsed.query);
  }

  std::int64_t Forget(std::string_view digest, std::string& error) override {
    ClickHouseClient client(address_);
    const std::int64_t records = ForgetInClickHouse(client, digest, error);
    // A record of others that was stored before is stored again if it arrives again: that is
    // harmless.
    writer_.ClearRecentDigests();
    return records;
  }

 private:
  bool IsExpired(const Record& record, const RecordRows& rows) const {
    return retention_ > 0 && !rows.events.empty() && rows.newest < ArrivalOf(record) - retention_;
  }

  const ClickHouseAddress address_;
  const std::int64_t retention_;  // ms; 0: for ever
  ClickHouseWriter writer_;
  ClickHouseRetention retentionThread_;
};

ClickHouseReply CreateTables(ClickHouseClient& client) {
  ClickHouseReply reply;
  for (const std::string& statement : ClickHouseSchema(client.Address().database)) {
    reply = client.Post({}, statement, kSchemaTimeout);
    if (!reply.IsOk()) {
      break;
    }
  }
  return reply;
}

// Waits for a server that is still starting, or starts again meanwhile.
ClickHouseReply AwaitTables(ClickHouseClient& client) {
  const auto deadline = std::chrono::steady_clock::now() + kOpenTimeout;
  for (;;) {
    ClickHouseReply reply = CreateTables(client);
    if (reply.status != 0 || std::chrono::steady_clock::now() > deadline) {
      return reply;
    }
    std::this_thread::sleep_for(kOpenInterval);
  }
}

}  // namespace

std::unique_ptr<Store> OpenClickHouse(const std::string& url,
                                      int retentionDays,
                                      std::string& error) {
  const auto address = ParseClickHouseUrl(url, error);
  if (!address) {
    return nullptr;
  }
  ClickHouseClient client(*address);
  const ClickHouseReply reply = AwaitTables(client);
  if (!reply.IsOk()) {
    error = "ClickHouse: " + reply.text;
    return nullptr;
  }
  return std::make_unique<ClickHouseStore>(*address, retentionDays);
}

}  // namespace Gateway
