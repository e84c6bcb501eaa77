// The records that the server has refused in this run and that are not to be tried again yet.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "cache/cache_file_reader.h"
#include "model/built_record.h"

namespace Tav {

// Whether the oldest event of the record was reported more than 30 days before `now`, in seconds
// since 1970. Not if its age is implausible: a clock that is wrong must not drop records. A refused
// record is stored again after each attempt, so its file does not age.
bool IsOutdated(const BuiltRecord& record, int64_t now);

// Session thread only. The records themselves are in the cache, or in memory if it takes none.
class RefusedRecords {
 public:
  bool Empty() const { return entries_.empty(); }
  // The bytes that the records take in the cache.
  int64_t Bytes() const { return bytes_; }

  void Add(const BuiltRecord& record) {
    if (Find(record) == entries_.end()) {
      entries_.push_back({IdOf(record), 0});
      bytes_ += ChunkSize(record.bytes.size());
    }
  }
  bool Contains(const BuiltRecord& record) { return Find(record) != entries_.end(); }
  void Clear() {
    entries_.clear();
    bytes_ = 0;
  }

  // True the first time that a contained record comes up during a send. The second time, all
  // records that were in the cache before it have been tried.
  bool MeetFirst(const BuiltRecord& record) {
    const auto entry = Find(record);
    const bool first = entry->lastMet != send_;
    entry->lastMet = send_;
    return first;
  }
  void BeginSend() { ++send_; }

 private:
  // The end of a gzip member: the checksum and the length of its text, and some of the text.
  static constexpr size_t kTrailer = 16;

  struct Id {
    size_t size = 0;
    std::array<uint8_t, kTrailer> trailer{};

    bool operator==(const Id&) const = default;
  };
  struct Entry {
    Id id;
    uint64_t lastMet = 0;  // the number of a send
  };

  static Id IdOf(const BuiltRecord& record) {
    Id id{record.bytes.size(), {}};
    std::copy_n(record.bytes.rbegin(), std::min(id.size, kTrailer), id.trailer.begin());
    return id;
  }
  std::vector<Entry>::iterator Find(const BuiltRecord& record) {
    const Id id = IdOf(record);
    return std::find_if(entries_.begin(), entries_.end(),
                        [&](const Entry& entry) { return entry.id == id; });
  }

  std::vector<Entry> entries_;
  int64_t bytes_ = 0;
  uint64_t send_ = 1;
};

}  // namespace Tav
