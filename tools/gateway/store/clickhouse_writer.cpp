#include "gateway/store/clickhouse_writer.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <random>
#include <utility>

namespace Gateway {
namespace {

using Clock = std::chrono::steady_clock;

// ClickHouse makes a part of every insert and refuses them when it cannot merge as fast. Ten
// inserts a second from each gateway are far from that.
constexpr std::chrono::milliseconds kGatherTime{100};
constexpr std::size_t kMaxBatchRecords = 1000;
constexpr std::size_t kMaxBatchBytes = std::size_t{8} * 1024 * 1024;

constexpr std::size_t kMaxRecentDigests = 100'000;

// Never the same twice: events of an abandoned attempt must not be taken for another's. The time in
// the upper half lets the first copy of a record stay the least.
std::uint64_t NewCopy() {
  std::random_device random;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now).count();
  return (static_cast<std::uint64_t>(seconds) << 32U) | random();
}

// Whether the server refused the rows and not the insert: another batch may pass.
bool IsRefusalOfData(const ClickHouseReply& reply) {
  constexpr std::array kCodes = {6,     // CANNOT_PARSE_TEXT
                                 25,    // CANNOT_PARSE_ESCAPE_SEQUENCE
                                 26,    // CANNOT_PARSE_QUOTED_STRING
                                 27,    // CANNOT_PARSE_INPUT_ASSERTION_FAILED
                                 38,    // CANNOT_PARSE_DATE
                                 72,    // CANNOT_PARSE_NUMBER
                                 117,   // INCORRECT_DATA
                                 128,   // TOO_LARGE_ARRAY_SIZE
                                 131,   // TOO_LARGE_STRING_SIZE
                                 190,   // SIZES_OF_ARRAYS_DOESNT_MATCH
                                 241};  // MEMORY_LIMIT_EXCEEDED
  return reply.status != 0 && std::ranges::find(kCodes, reply.ErrorCode()) != kCodes.end();
}

std::string Shortened(const std::string& reason) {
  constexpr std::size_t kMaxReason = 300;
  std::string text = reason.substr(0, kMaxReason);
  std::ranges::replace_if(text, [](unsigned char c) { return c < 0x20; }, ' ');
  return text;
}

std::string InsertInto(std::string_view table, const ClickHouseAddress& address) {
  return "query=" + PercentEncode("INSERT INTO " + address.database + '.' + std::string(table) +
                                  " FORMAT JSONEachRow");
}

}  // namespace

void RecentDigests::Add(const std::string& digest) {
  if (!known_.insert(digest).second) {
    return;
  }
  order_.push_back(digest);
  if (order_.size() > kMaxRecentDigests) {
    known_.erase(order_.front());
    order_.pop_front();
  }
}

void RecentDigests::Clear() {
  known_.clear();
  order_.clear();
}

ClickHouseWriter::ClickHouseWriter(ClickHouseAddress address, ClickHouseLimits limits)
    : limits_(limits), client_(std::move(address)), thread_([this] { Run(); }) {}

ClickHouseWriter::~ClickHouseWriter() {
  {
    const std::lock_guard guard(lock_);
    isEnding_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

void ClickHouseWriter::Add(ClickHouseRecord record, Store::Done done) {
  {
    const std::lock_guard guard(lock_);
    const std::size_t bytes = record.Bytes();
    if (queue_.empty() || (queue_.size() < limits_.maxQueuedRecords &&
                           queuedBytes_ + bytes <= limits_.maxQueuedBytes)) {
      queuedBytes_ += bytes;
      queue_.push_back({std::move(record), std::move(done), Clock::now()});
      done = nullptr;
    }
  }
  if (done) {
    done({AddOutcome::Failed, "too many records wait for ClickHouse"});
  } else {
    wake_.notify_one();
  }
}

void ClickHouseWriter::ClearRecentDigests() {
  const std::lock_guard guard(lock_);
  recent_.Clear();
}

void ClickHouseWriter::Run() {
  for (Batch batch = NextBatch(); !batch.empty(); batch = NextBatch()) {
    Store(batch);
  }
}

bool ClickHouseWriter::IsBatchReady() const {
  return isEnding_ || queue_.size() >= kMaxBatchRecords || queuedBytes_ >= kMaxBatchBytes;
}

ClickHouseWriter::Batch ClickHouseWriter::NextBatch() {
  std::unique_lock guard(lock_);
  wake_.wait(guard, [this] { return isEnding_ || !queue_.empty(); });
  if (!queue_.empty()) {
    wake_.wait_until(guard, queue_.front().added + kGatherTime, [this] { return IsBatchReady(); });
  }
  Batch batch;
  std::size_t bytes = 0;
  while (!queue_.empty() && batch.size() < kMaxBatchRecords &&
         (batch.empty() || bytes + queue_.front().record.Bytes() <= kMaxBatchBytes)) {
    bytes += queue_.front().record.Bytes();
    batch.push_back(std::move(queue_.front()));
    queue_.pop_front();
  }
  queuedBytes_ -= bytes;
  return batch;
}

// The entries whose records have to be inserted, each record once.
std::vector<ClickHouseWriter::Entry*> ClickHouseWriter::Unknown(Batch& batch) {
  std::vector<Entry*> unknown;
  std::unordered_set<std::string_view> seen;
  const std::lock_guard guard(lock_);
  for (Entry& entry : batch) {
    if (!recent_.Contains(entry.record.digest) && seen.insert(entry.record.digest).second) {
      unknown.push_back(&entry);
    }
  }
  return unknown;
}

void ClickHouseWriter::Store(Batch& batch) {
  const std::vector<Entry*> entries = Unknown(batch);
  const ClickHouseReply reply = entries.empty() ? ClickHouseReply{200, {}} : Insert(entries);
  {
    const std::lock_guard guard(lock_);
    for (const Entry* entry : entries) {
      if (entry->outcome == AddOutcome::Stored) {
        recent_.Add(entry->record.digest);
      }
    }
    for (Entry& entry : batch) {
      if (entry.outcome != AddOutcome::Stored && recent_.Contains(entry.record.digest)) {
        entry.outcome = AddOutcome::Double;
      }
    }
    if (reply.status == 0) {
      // Those that wait would time out one batch after the other.
      std::ranges::move(queue_, std::back_inserter(batch));
      queue_.clear();
      queuedBytes_ = 0;
    }
  }
  const std::string reason = reply.IsOk() ? "" : Shortened(reply.text);
  for (const Entry& entry : batch) {
    entry.done({entry.outcome, entry.outcome == AddOutcome::Failed ? reason : ""});
  }
}

ClickHouseReply ClickHouseWriter::Insert(std::span<Entry* const> entries) {
  ClickHouseReply reply = TryInsert(entries);
  if (reply.status == 0) {
    // A restarted server has dropped the connection. Whatever became of the first attempt, the
    // second has a copy of its own.
    reply = TryInsert(entries);
  }
  if (reply.IsOk()) {
    for (Entry* entry : entries) {
      entry->outcome = AddOutcome::Stored;
    }
  } else if (entries.size() > 1 && IsRefusalOfData(reply)) {
    // One record must not keep others out.
    const ClickHouseReply first = Insert(entries.first(entries.size() / 2));
    const ClickHouseReply second = Insert(entries.subspan(entries.size() / 2));
    return first.IsOk() ? second : first;
  }
  return reply;
}

ClickHouseReply ClickHouseWriter::TryInsert(std::span<Entry* const> entries) {
  const std::uint64_t copy = NewCopy();
  std::string events;
  std::string records;
  for (const Entry* entry : entries) {
    entry->record.events.Write(copy, events);
    entry->record.record.Write(copy, records);
  }
  if (!events.empty()) {
    ClickHouseReply reply =
        client_.Post(InsertInto("event_rows", client_.Address()), events, limits_.insertTimeout);
    if (!reply.IsOk()) {
      return reply;
    }
  }
  return client_.Post(InsertInto("record_rows", client_.Address()), records, limits_.insertTimeout);
}

}  // namespace Gateway
