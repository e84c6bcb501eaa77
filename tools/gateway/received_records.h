// The records that arrived, in order, with the listings and counts that the API returns. Does not
// check records and is independent of HTTP.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "gateway/record_reader.h"

namespace Gateway {

// A part of a list: `limit` items, starting with index `from`.
struct Page {
  std::size_t from = 0;
  std::size_t limit = static_cast<std::size_t>(-1);
};

enum class RequestKind { Record, Configuration, Other };

// A record as the live list shows it: what ListRecords returns without the body, the first 1 KB of
// its product, version and component, and its first events under "rt", with the number of further
// ones under "left_out". One line. Any thread.
std::string LiveRecordJson(const Record& record);

// Thread-safe; no function does I/O. Listings are JSON texts.
class ReceivedRecords {
 public:
  // Called for each record that is added, in order of arrival, one at a time.
  using Observer = std::function<void(const Record&)>;

  // Keeps the last records, `maxRecords` and about `maxBytes` at most, but the last one always;
  // older ones still count. `observer` may be empty. It runs on the thread that calls Add, without
  // the lock that readers take, and must not call Add.
  explicit ReceivedRecords(Observer observer = {},
                           std::size_t maxRecords = static_cast<std::size_t>(-1),
                           std::size_t maxBytes = static_cast<std::size_t>(-1))
      : observer_(std::move(observer)), maxRecords_(maxRecords), maxBytes_(maxBytes) {}
  ReceivedRecords(const ReceivedRecords&) = delete;
  ReceivedRecords& operator=(const ReceivedRecords&) = delete;

  // Adds the record; sets its number, `doubleOf` and, unless it is set, the time of arrival.
  void Add(Record record);

  void CountRequest(RequestKind kind);
  // Counts a record that was not kept, because of a fault or because the store failed.
  void CountRefused();
  void CountConnection();

  // Deletes everything; numbers start at 1 again.
  void Reset();

  // An array with one object per record, without the record itself unless `withBody`.
  std::string ListRecords(const Page& page, bool withBody) const;
  // The newest `limit` records with a number above `after`, oldest first, and the newest number:
  // {"newest":7,"records":[…]}, each as LiveRecordJson describes it.
  std::string ListRecent(std::uint64_t after, std::size_t limit) const;
  // The object for one record; nothing if there is no such record.
  std::optional<std::string> DescribeRecord(std::uint64_t number, bool withBody = true) const;
  // The record's text as it arrived; nothing if there is no such record.
  std::optional<std::string> RecordText(std::uint64_t number) const;

  // An array with one object per event of all records, in order of arrival. An empty name selects
  // all events; the page counts the selected ones among the records that are kept.
  std::string ListEvents(std::string_view name, const Page& page) const;

  // An object with all counts.
  std::string Summary() const;

 private:
  struct Totals {
    std::uint64_t records = 0;
    std::uint64_t badRecords = 0;
    std::uint64_t doubledRecords = 0;
    std::uint64_t events = 0;
    std::uint64_t bytesCompressed = 0;
    std::uint64_t bytesExpanded = 0;
    std::uint64_t refused = 0;
    std::uint64_t requests = 0;
    std::uint64_t configurationRequests = 0;
    std::uint64_t connections = 0;
  };

  using RecordList = std::deque<std::shared_ptr<const Record>>;

  std::shared_ptr<const Record> Keep(Record record);
  void Forget(const Record& record);
  // Null if the record has not arrived or is not kept.
  std::shared_ptr<const Record> Find(std::uint64_t number) const;
  // A copy of the list, so that writing a long listing does not block Add.
  RecordList Snapshot() const;

  const Observer observer_;
  const std::size_t maxRecords_;
  const std::size_t maxBytes_;
  std::mutex arrival_;  // held while adding and observing, so that the observer sees the order

  mutable std::mutex lock_;  // guards everything below
  // Shared, so that a listing can go on after a reset.
  RecordList records_;
  std::size_t bytes_ = 0;  // of the kept records
  std::unordered_map<std::string, std::uint64_t> firstByDigest_;
  std::unordered_map<std::string, std::size_t> sessions_;  // and how many kept records have them
  Totals totals_;
};

}  // namespace Gateway
