// Where the log gets its segments: mapped ones that are ready, and plain memory, within one limit
// for the bytes of both.
#pragma once

#include <array>
#include <cstddef>

#include "journal/segment.h"
#include "journal/segment_chain.h"

namespace Tav {

// With the lock of the queue held. Mapped segments are borrowed: the journal file
// owns them.
class SegmentPool {
 public:
  // Bytes in file and memory together, in use or ready.
  static constexpr size_t kMaxBytes = SegmentChain::kMaxUses * kSegmentSize;

  // Any thread.

  // Mapped segments that are ready.
  size_t Ready() const { return readyCount_; }
  // Whether few mapped segments are ready although more can be had.
  bool RunsLow() const { return growing_ && readyCount_ < kLowRoom && MayGrow(); }
  // Whether a mapped segment may be added.
  bool MayGrow() const {
    return !fileFailed_ && readyCount_ < ready_.size() && bytes_ + kSegmentSize <= kMaxBytes;
  }
  // Whether the file was given up.
  bool FileFailed() const { return fileFailed_; }
  // Gives the file up: its segments are no longer ready.
  void FailFile();

  // Takes a ready segment for use. There must be one.
  Segment TakeMapped() { return Segment(ready_[--readyCount_]); }
  // A segment that was taken cannot be accessed. Gives the file up.
  void FailTaken();
  // Plain memory for an entry of `entrySize` bytes. Null at the limit or if memory runs out.
  Segment TakeMemory(size_t entrySize);

  // Session thread.

  // Adds a mapped segment, which may then grow again. Requires MayGrow.
  void Add(std::byte* mapped);
  // Removes a ready segment; null if there is none.
  std::byte* Remove();
  // For now, no more mapped segments are available. Add revokes this.
  void StopGrowing() { growing_ = false; }
  // Makes a segment ready after its use, unless the file was given up.
  void ReturnMapped(Segment segment);
  void FreeMemory(Segment segment);

 private:
  static constexpr size_t kLowRoom = 5;  // not more than RunJournal keeps ready

  std::array<std::byte*, SegmentChain::kMaxUses> ready_{};  // the one used last comes first
  size_t readyCount_ = 0;
  size_t bytes_ = 0;  // of all segments
  bool growing_ = false;
  bool fileFailed_ = false;
};

}  // namespace Tav
