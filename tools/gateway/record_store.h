// The records that arrived, in order, and what tests and people ask about them. It neither checks
// records nor speaks HTTP.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "gateway/record.h"

namespace Gateway {

// A stretch of a list: `limit` items from `from` on.
struct Page {
  std::size_t from = 0;
  std::size_t limit = static_cast<std::size_t>(-1);
};

enum class RequestKind { Record, Configuration, Other };

// Any thread may call any member; none waits for more than memory.
// Listings are JSON texts.
class RecordStore {
 public:
  // Called with each record as it is stored, in order of arrival, one at a time.
  using Observer = std::function<void(const Record&)>;

  // `observer` may be empty. It runs on the storing thread, outside the lock that readers take, and
  // must not call Add.
  explicit RecordStore(Observer observer = {}) : observer_(std::move(observer)) {}
  RecordStore(const RecordStore&) = delete;
  RecordStore& operator=(const RecordStore&) = delete;

  // Gives the record its number, notes whether its text arrived before, and keeps it.
  void Add(Record record);

  void CountRequest(RequestKind kind);
  // A record that a fault kept from arriving.
  void CountRefused();
  void CountConnection();

  // Forgets everything; numbers start at 1 again.
  void Reset();

  // An array with one object per record; without `withBody` the records themselves are left out.
  std::string ListRecords(const Page& page, bool withBody) const;
  // The object for one record, or nothing.
  std::optional<std::string> DescribeRecord(std::uint64_t number) const;
  // The record's text as it arrived, or nothing.
  std::optional<std::string> RecordText(std::uint64_t number) const;

  // An array with one object per event over all records, in order of arrival; an empty name means
  // every name. The page counts the events of that name.
  std::string ListEvents(std::string_view name, const Page& page) const;

  // An object with the counts.
  std::string Summary() const;

 private:
  struct Totals {
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

  using RecordList = std::vector<std::shared_ptr<const Record>>;

  std::shared_ptr<const Record> Keep(Record record);
  // A copy of the list, so that a long listing is written without holding arrivals up.
  RecordList Snapshot() const;

  const Observer observer_;
  std::mutex arrival_;  // held over storing and observing, so that observers see the order

  mutable std::mutex lock_;  // guards everything below
  // Records are shared: one outlives a reset while somebody still looks at it.
  RecordList records_;
  std::unordered_map<std::string, std::uint64_t> firstByDigest_;
  std::unordered_set<std::string> sessions_;
  Totals totals_;
};

}  // namespace Gateway
