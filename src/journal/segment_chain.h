// The segments in use, in order. A segment is in use until its last entry is settled.
//
// Host threads add a use under the lock of the queue while the session thread reads older ones
// without it. Uses are removed, and a segment is replaced, by the session thread, with the lock.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "journal/segment.h"

namespace Tav {

// One use of a segment.
struct SegmentUse {
  Segment segment;
  uint32_t number = 0;
  uint32_t end = 0;  // of the entries
  bool mapped = false;
};

// The uses have consecutive numbers. A fixed array, so that adding one moves none.
class SegmentChain {
 public:
  // A place between two entries. Later places are greater.
  using Position = uint64_t;

  static constexpr size_t kMaxUses = 128;

  static Position Place(uint32_t number, uint32_t offset) {
    return uint64_t{number} << 32 | offset;
  }
  static Position EndOf(const SegmentUse& use) { return Place(use.number, use.end); }

  size_t Count() const { return count_.load(std::memory_order_acquire); }
  bool Empty() const { return Count() == 0; }
  bool Full() const { return Count() == uses_.size(); }
  SegmentUse& At(size_t index) { return uses_[(first_ + index) % uses_.size()]; }
  const SegmentUse& At(size_t index) const { return uses_[(first_ + index) % uses_.size()]; }
  SegmentUse& Last() { return At(Count() - 1); }
  const SegmentUse& Last() const { return At(Count() - 1); }
  // The index of use `number`; 0 for an earlier one, at least Count() for a later one.
  size_t IndexOf(uint32_t number) const {
    return Empty() || number < At(0).number ? 0 : number - At(0).number;
  }
  void Add(const SegmentUse& use) {
    At(Count()) = use;
    count_.fetch_add(1, std::memory_order_release);
  }
  void RemoveFirst() {
    first_ = (first_ + 1) % uses_.size();
    count_.fetch_sub(1, std::memory_order_release);
  }

 private:
  std::array<SegmentUse, kMaxUses> uses_;
  size_t first_ = 0;
  std::atomic<size_t> count_{0};
};

}  // namespace Tav
