// The records that wait on one client: those in memory and those in the files of the cache. Counts
// them; a record that leaves has the average size of those it was among.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Fleet {

struct Amount {
  int64_t records = 0;
  int64_t events = 0;
  int64_t bytes = 0;

  Amount& operator+=(const Amount& other) {
    records += other.records;
    events += other.events;
    bytes += other.bytes;
    return *this;
  }
  Amount& operator-=(const Amount& other) {
    records -= other.records;
    events -= other.events;
    bytes -= other.bytes;
    return *this;
  }
};

class Backlog {
 public:
  // Adds a record to those in memory.
  void Add(const Amount& record) { memory_ += record; }

  // Records in memory; a cache file that was loaded counts too.
  bool NothingInMemory() const { return leased_ == 0 && memory_.records == 0; }
  bool Empty() const { return memory_.records == 0 && files_.empty(); }
  const Amount& Memory() const { return memory_; }
  // Bytes of all files.
  int64_t Cached() const { return cached_; }
  // When the oldest file was last written to; 0 for none.
  int64_t OldestTime() const { return files_.empty() ? 0 : files_.front().written; }

  // The record that a send takes next: of the loaded file, else of memory, else of the oldest file,
  // which is loaded for it. Not when Empty.
  Amount Next() {
    if (leased_ == 0 && memory_.records == 0) {
      leased_ = files_.front().content.records;
    }
    return One(leased_ > 0 ? files_.front().content : memory_);
  }
  // It was accepted.
  void RemoveNext(const Amount& next);

  // Writes the records in memory to the newest file, as the cache does. Returns what was dropped
  // because the cache is full.
  Amount Flush(int64_t time, int64_t maxFiles, int64_t maxFileSize);

  // Everything that waits.
  Amount Total() const;

 private:
  struct File {
    Amount content;  // without the five bytes of marks of each record
    int64_t written = 0;
  };

  static Amount One(const Amount& all) {
    return {1, all.events / all.records, all.bytes / all.records};
  }

  Amount memory_;
  std::vector<File> files_;  // oldest first
  int64_t cached_ = 0;
  int64_t leased_ = 0;  // records of the oldest file that are loaded
};

}  // namespace Fleet
