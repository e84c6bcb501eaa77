// A segment of the journal: one mebibyte of memory, mapped from the run's file or not, into which
// entries are appended.
//
// The first word orders the uses of all segments of a run: number << 32 | settled. A number of zero
// means that the segment is not in use. Entries before the offset `settled` are delivered, stored
// in the cache or dropped. One store of the word settles entries or begins another use of the
// segment, so a process that dies always leaves a readable segment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "journal/entry.h"

namespace Tav {

inline constexpr size_t kSegmentSize = size_t{1} << 20;
inline constexpr uint32_t kSegmentHeadSize = 64;
// The largest entry that fits.
inline constexpr size_t kMaxEntrySize = kSegmentSize - kSegmentHeadSize;

// Where an entry of a mapped segment is read from: a copy, because its page may not be loadable.
struct EntryCopy {
  std::byte* memory = nullptr;  // kSegmentSize bytes, borrowed
  bool failed = false;          // something could not be loaded
};

// Borrows the memory, which is aligned to eight. Two threads may append and read at the same time;
// their owner orders these accesses. All of them survive a page that cannot be loaded: those that
// store then return false or nothing.
class Segment {
 public:
  Segment() = default;
  explicit Segment(std::byte* memory, size_t size = kSegmentSize) : memory_(memory), size_(size) {}

  std::byte* Memory() const { return memory_; }
  size_t Size() const { return size_; }
  explicit operator bool() const { return memory_ != nullptr; }

  // Begins a use. The segment then counts as empty, because it has no entries of that number.
  bool Begin(uint32_t number, uint32_t settled = kSegmentHeadSize) {
    return Store(number, settled);
  }
  // Ends the use.
  bool Release() { return Store(0, 0); }
  // The first word; nothing if it cannot be loaded.
  std::optional<uint64_t> Load() const;
  // 0 if it cannot be loaded.
  uint32_t Number() const { return static_cast<uint32_t>(Load().value_or(0) >> 32); }
  uint32_t Settled() const { return static_cast<uint32_t>(Load().value_or(0)); }
  // Entries before `offset` are settled.
  bool Settle(uint32_t offset);

  bool Fits(uint32_t offset, size_t entrySize) const { return entrySize <= size_ - offset; }
  // Appends an encoded entry at `offset`, where the last one ended. Returns its end, or nothing if
  // it does not fit.
  std::optional<uint32_t> Append(uint32_t offset, std::span<const std::byte> entry);

  // The entry at `offset`; nothing at the end of the entries or after damage. With `copy`, the view
  // is of the copy and valid until the next entry is read into it.
  std::optional<EntryView> At(uint32_t offset, EntryCopy* copy = nullptr) const;
  void SetVerdict(uint32_t offset, Verdict verdict);
  // Whether the pages from offset `begin` on and before `end` can be loaded.
  bool CanRead(uint32_t begin, uint32_t end) const;

  // Whether a damaged entry, and not free space, follows the last entry, at `offset`.
  bool DamagedAt(uint32_t offset) const;

 private:
  bool Store(uint32_t number, uint32_t settled);

  std::byte* memory_ = nullptr;
  size_t size_ = 0;
};

}  // namespace Tav
