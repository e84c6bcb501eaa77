// The accepted events that are not settled yet, in the order in which they were accepted: a chain
// of segments, mapped from the run's file as long as there is room, and of plain memory otherwise.
//
// Host threads append under the lock of the queue. The session thread reads entries without it: an
// entry does not change once it has been appended, except for its verdict, which is the session
// thread's. It settles entries from the oldest on; a segment without unsettled entries is used
// again.
//
// When the memory of the file cannot be accessed any more, the file is given up: new entries go to
// plain memory. The entries that the file has stay in use.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "journal/segment.h"

namespace Tav {

class EventLog {
 public:
  // A place between two entries. Later places are greater.
  using Position = uint64_t;

  // Bytes in file and memory together.
  static constexpr size_t kMaxBytes = size_t{128} << 20;
  // Segments in use or ready at most.
  static constexpr size_t kMaxSegments = kMaxBytes / kSegmentSize;

  EventLog() = default;
  // Frees the segments of plain memory. Mapped segments and their contents belong to their owner.
  ~EventLog();
  EventLog(const EventLog&) = delete;
  EventLog& operator=(const EventLog&) = delete;

  // With the lock held, any thread.

  // Appends an entry made by EncodeEntry. False if the log is full or memory runs out; the event is
  // then counted as refused. False after Close. Allocates pages when no mapped segment is ready.
  bool Append(std::span<const std::byte> entry);
  Position End() const { return uses_.Empty() ? Place(lastNumber_, 0) : EndOf(uses_.Last()); }
  // The place of the first unsettled entry; End() if there is none.
  Position Begin() const;
  // Nothing is unsettled, and no mapped segment is in use.
  bool Empty() const { return uses_.Empty(); }
  // Whether a segment of memory is in use.
  bool InMemory() const;
  // The same for one that fits into the file.
  bool HasMovable() const;
  // Mapped segments that are ready.
  size_t Ready() const { return readyCount_; }
  // Whether few mapped segments are ready although more can be had.
  bool RunsLow() const { return growing_ && readyCount_ < kLowRoom && MayGrow(); }
  // Whether a mapped segment may be added.
  bool MayGrow() const {
    return !fileFailed_ && readyCount_ < ready_.size() && bytes_ + kSegmentSize <= kMaxBytes;
  }
  // Events refused since the last call.
  uint64_t TakeRefused();
  // Whether the file was given up.
  bool FileFailed() const { return fileFailed_; }

  // With the lock held, session thread.

  // Gets the memory for reading mapped segments. False if there is none.
  bool PrepareCopies();
  // Adds a mapped segment of kSegmentSize bytes. If hosts append to plain memory, they continue in
  // it. It is borrowed until the log is destroyed or TakeRoom returns it. False if the log may not
  // grow or PrepareCopies fails.
  bool AddRoom(std::byte* mapped);
  // Removes a ready segment; null if there is none.
  std::byte* TakeRoom();
  // For now, no more mapped segments are available. AddRoom revokes this.
  void StopGrowing() { growing_ = false; }
  // Gives the file up.
  void FailFile();
  // From now on nothing is appended.
  void Close() { closed_ = true; }
  // Everything before `end` is settled. Segments without unsettled entries become ready.
  void Settle(Position end);
  // A memory segment that is full, and a mapped one to which it can move; call before Move.
  struct Migration {
    Segment from;
    Segment to;
    uint32_t end;  // of the entries
  };
  std::optional<Migration> BeginMigration();
  void EndMigration(const Migration& migration);
  // After Copy has failed: gives the file up, with the segment that was to be filled.
  void FailMigration();

  // Without the lock, session thread.

  // Copies the entries. The first word is stored last, in a single store, so that a file never has
  // half a segment or entries that were settled before. False if the file must be given up; then
  // call FailMigration.
  static bool Copy(const Migration& migration);

  struct Item {
    Position begin = 0;
    Position end = 0;
    EntryView view;
  };
  // The first entry from `cursor` on and before `end`, a value of End. Nothing if there is none.
  // Its view is valid until the next call. Passes over the rest of a segment after an entry that is
  // damaged, which it logs once, or cannot be read.
  std::optional<Item> Next(Position cursor, Position end);
  // Whether an entry could not be read since the last call.
  bool TakeReadFailure() { return std::exchange(copy_.failed, false); }
  void SetVerdict(Position entry, Verdict verdict);
  // Whether the entries from `begin` on and before `end` are in the file, where they can be read.
  bool AreInFile(Position begin, Position end) const;

 private:
  static constexpr size_t kLowRoom = 5;  // not more than RunJournal keeps ready

  // One use of a segment.
  struct Use {
    Segment segment;
    uint32_t number = 0;
    uint32_t end = 0;  // of the entries
    bool mapped = false;
  };

  // The uses in their order, with consecutive numbers. A fixed array: hosts add to it under the
  // lock while the session thread reads older elements without it.
  class Uses {
   public:
    size_t Count() const { return count_.load(std::memory_order_acquire); }
    bool Empty() const { return Count() == 0; }
    bool Full() const { return Count() == uses_.size(); }
    Use& At(size_t index) { return uses_[(first_ + index) % uses_.size()]; }
    const Use& At(size_t index) const { return uses_[(first_ + index) % uses_.size()]; }
    Use& Last() { return At(Count() - 1); }
    const Use& Last() const { return At(Count() - 1); }
    // The index of use `number`; 0 for an earlier one, at least Count() for a later one.
    size_t IndexOf(uint32_t number) const {
      return Empty() || number < At(0).number ? 0 : number - At(0).number;
    }
    void Add(const Use& use) {
      At(Count()) = use;
      count_.fetch_add(1, std::memory_order_release);
    }
    void RemoveFirst() {
      first_ = (first_ + 1) % uses_.size();
      count_.fetch_sub(1, std::memory_order_release);
    }

   private:
    std::array<Use, kMaxSegments> uses_;
    size_t first_ = 0;
    std::atomic<size_t> count_{0};
  };

  static Position Place(uint32_t number, uint32_t offset) {
    return uint64_t{number} << 32 | offset;
  }
  static Position EndOf(const Use& use) { return Place(use.number, use.end); }

  bool AppendToLast(std::span<const std::byte> entry);
  bool BeginUse(size_t entrySize);
  bool BeginMemoryUse(size_t entrySize);
  bool StartMappedUse();
  bool StartUse(Segment segment, bool mapped);
  void EndUse(const Use& use);
  void ReportDamage(Position entry);

  Uses uses_;
  std::array<std::byte*, kMaxSegments> ready_{};  // the one used last comes first
  size_t readyCount_ = 0;
  size_t bytes_ = 0;  // of all segments
  uint32_t lastNumber_ = 0;
  uint64_t refused_ = 0;
  bool growing_ = false;
  bool closed_ = false;
  bool fileFailed_ = false;
  // Session thread only.
  EntryCopy copy_;
  Position lastDamage_ = 0;  // the last damaged entry that was logged
};

}  // namespace Tav
