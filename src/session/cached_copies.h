// Recognises records of this run that went to the cache and came back: a cache file does not tell
// which data a record carries.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "model/built_record.h"

namespace Tav {

// Session thread only. Keeps the latest few copies. One that is forgotten counts as a record
// without data, so the data is sent once more.
class CachedCopies {
 public:
  // Before a flush. Records that stay in memory may be noted too.
  void Note(const RecordList& records) {
    for (const BuiltRecord* record = records.First(); record; record = record->next.get()) {
      const bool carries = record->carried.product != 0 || record->carried.machine != 0;
      if (carries && Find(*record) == nullptr) {
        copies_[next_++ % copies_.size()] = {IdOf(*record), record->carried};
      }
    }
  }
  // Of a record from the cache: the data that it carries.
  CarriedData DataOf(const BuiltRecord& record) const {
    const Copy* const copy = Find(record);
    return copy == nullptr ? CarriedData() : copy->carried;
  }

 private:
  // Eight bytes at the end of a gzip member: the checksum and the length of its text.
  static constexpr size_t kTrailer = 8;

  struct Id {
    size_t size = 0;
    std::array<uint8_t, kTrailer> trailer{};

    bool operator==(const Id&) const = default;
  };
  struct Copy {
    Id id;
    CarriedData carried;
  };

  static Id IdOf(const BuiltRecord& record) {
    Id id{record.bytes.size(), {}};
    std::copy_n(record.bytes.rbegin(), std::min(id.size, kTrailer), id.trailer.begin());
    return id;
  }
  const Copy* Find(const BuiltRecord& record) const {
    const Id id = IdOf(record);
    const auto found = std::find_if(copies_.begin(), copies_.end(),
                                    [&](const Copy& copy) { return copy.id == id; });
    return found != copies_.end() ? &*found : nullptr;
  }

  std::array<Copy, 8> copies_;
  size_t next_ = 0;
};

}  // namespace Tav
