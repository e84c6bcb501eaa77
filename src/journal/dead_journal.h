// Reads the journal file of a dead run and settles its entries.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "journal/journal_file.h"
#include "journal/run_block.h"
#include "journal/segment.h"

namespace Tav {

// The entries of a dead run that are not settled, in their order. Blocks on the disk. One thread at
// a time.
class DeadJournal {
 public:
  explicit DeadJournal(std::unique_ptr<JournalFile> file);

  // What the run's records are built from; nothing if it is damaged.
  const std::optional<RunBlock>& Run() const { return run_; }
  int64_t StartTime() const { return file_->Head().StartTime(); }
  // Those in use.
  size_t SegmentCount() const { return segments_.size(); }
  // The time of the newest entry of a segment, in milliseconds since 1970; 0 without entries.
  int64_t NewestTime(size_t segment);
  // Segments that end in an entry that is damaged or was not completed.
  int DamagedSegments() const { return damaged_; }
  // Whether something could not be read because of the disk. The file should stay.
  bool Unreadable() const { return copy_.failed; }

  struct Item {
    size_t segment;  // index in the order of numbers
    uint32_t begin;
    uint32_t end;
    bool settled;  // delivered, stored or dropped already
    EntryView view;
  };
  // The next entry, settled ones included; nothing at the end. Its view is valid until the next
  // call.
  std::optional<Item> Next();
  // Stores in the file that `item` and everything before it is settled.
  void Settle(const Item& item);

  // Deletes the file.
  bool Remove() { return file_->Remove(); }

 private:
  std::unique_ptr<JournalFile> file_;
  std::optional<RunBlock> run_;
  std::vector<Segment> segments_;  // in use, by their numbers
  size_t segment_ = 0;
  uint32_t offset_ = kSegmentHeadSize;
  size_t settledSegments_ = 0;
  std::map<size_t, uint32_t> unread_;  // segments that could not be read, and from where
  int damaged_ = 0;
  std::unique_ptr<std::byte[]> entry_;
  EntryCopy copy_;
};

}  // namespace Tav
