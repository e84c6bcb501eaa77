// The accepted events that are not settled yet, in the order in which they were accepted: a chain
// of segments, mapped from the run's file as long as there is room, and of plain memory otherwise.
//
// Host threads append under the lock of the queue. The session thread reads entries without it
// (EventReader). It settles entries from the oldest on; a segment without unsettled entries is used
// again (SegmentPool).
//
// When the memory of the file cannot be accessed any more, the file is given up: new entries go to
// plain memory. The entries that the file has stay in use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "journal/event_reader.h"
#include "journal/segment.h"
#include "journal/segment_chain.h"
#include "journal/segment_pool.h"

namespace Tav {

class EventLog {
 public:
  using Position = SegmentChain::Position;

  EventLog() = default;
  // Frees the segments of plain memory. Mapped segments and their contents belong to their owner.
  ~EventLog();
  EventLog(const EventLog&) = delete;
  EventLog& operator=(const EventLog&) = delete;

  // With the lock held, any thread.

  // Appends an entry made by EncodeEntry. False if the log is full or memory runs out; the event is
  // then counted as refused. False after Close. Allocates pages when no mapped segment is ready.
  bool Append(std::span<const std::byte> entry);
  Position End() const {
    return uses_.Empty() ? SegmentChain::Place(lastNumber_, 0) : SegmentChain::EndOf(uses_.Last());
  }
  // The place of the first unsettled entry; End() if there is none.
  Position Begin() const;
  // Nothing is unsettled, and no mapped segment is in use.
  bool Empty() const { return uses_.Empty(); }
  // Whether a segment of memory is in use.
  bool InMemory() const;
  // The same for one that fits into the file.
  bool HasMovable() const;
  // Events refused since the last call.
  uint64_t TakeRefused();
  // The segments that are not in use, and whether the file was given up.
  SegmentPool& Segments() { return segments_; }
  const SegmentPool& Segments() const { return segments_; }

  // With the lock held, session thread.

  // Adds a mapped segment of kSegmentSize bytes. If hosts append to plain memory, they continue in
  // it. It is borrowed until the log is destroyed or its pool has removed it. False if the pool
  // may not grow or the reader has no memory for copies.
  bool AddRoom(std::byte* mapped);
  // From now on nothing is appended.
  void Close() { closed_ = true; }
  // Everything before `end` is settled. Segments without unsettled entries become ready.
  void Settle(Position end);
  // A memory segment that is full, and a mapped one to which it can move; call before Copy.
  struct Migration {
    Segment from;
    Segment to;
    uint32_t end;  // of the entries
  };
  std::optional<Migration> BeginMigration();
  void EndMigration(const Migration& migration);

  // Without the lock, session thread.

  // Copies the entries. The first word is stored last, in a single store, so that a file never has
  // half a segment or entries that were settled before. False if the file must be given up; then
  // call FailTaken of the pool and not EndMigration.
  static bool Copy(const Migration& migration);

  EventReader& Reader() { return reader_; }

 private:
  bool AppendToLast(std::span<const std::byte> entry);
  bool BeginUse(size_t entrySize);
  bool BeginMappedUse();
  bool StartUse(Segment segment, bool mapped);

  SegmentChain uses_;
  SegmentPool segments_;
  uint32_t lastNumber_ = 0;
  uint64_t refused_ = 0;
  bool closed_ = false;
  EventReader reader_{uses_};
};

}  // namespace Tav
