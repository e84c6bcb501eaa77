// Reads the entries of the log while host threads append to it.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "journal/segment.h"
#include "journal/segment_chain.h"

namespace Tav {

// Session thread only, without the lock of the queue: an entry does not change once it has been
// appended, except for its verdict, which is the session thread's.
class EventReader {
 public:
  using Position = SegmentChain::Position;

  // Borrows the chain.
  explicit EventReader(SegmentChain& uses) : uses_(uses) {}
  ~EventReader();
  EventReader(const EventReader&) = delete;
  EventReader& operator=(const EventReader&) = delete;

  // Gets the memory for reading mapped segments. False if there is none.
  bool PrepareCopies();

  struct Item {
    Position begin = 0;
    Position end = 0;
    EntryView view;
  };
  // The first entry from `cursor` on and before `end`, an end of the log. Nothing if there is none.
  // Its view is valid until the next call. Passes over the rest of a segment after an entry that is
  // damaged, which it logs once, or cannot be read.
  std::optional<Item> Next(Position cursor, Position end);
  // Whether an entry could not be read since the last call.
  bool TakeReadFailure() { return std::exchange(copy_.failed, false); }
  void SetVerdict(Position entry, Verdict verdict);
  // Whether the entries from `begin` on and before `end` are in the file, where they can be read.
  bool AreInFile(Position begin, Position end) const;

 private:
  void ReportDamage(Position entry);

  SegmentChain& uses_;
  EntryCopy copy_;
  Position lastDamage_ = 0;  // the last damaged entry that was logged
};

}  // namespace Tav
