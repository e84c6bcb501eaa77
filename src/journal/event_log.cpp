#include "journal/event_log.h"

#include <utility>

#include "platform/guarded_copy.h"

namespace Tav {

EventLog::~EventLog() {
  while (!uses_.Empty()) {
    const SegmentUse& use = uses_.At(0);
    if (!use.mapped) {
      segments_.FreeMemory(use.segment);
    }
    uses_.RemoveFirst();
  }
}

bool EventLog::Append(std::span<const std::byte> entry) {
  if (closed_) {
    return false;
  }
  // Entries go to the file again as soon as it has room.
  const bool useLast =
      !uses_.Empty() && (uses_.Last().mapped ? !segments_.FileFailed() : segments_.Ready() == 0);
  if (useLast && AppendToLast(entry)) {
    return true;
  }
  // If a mapped segment cannot be accessed, the next one is of memory.
  while (BeginUse(entry.size())) {
    if (AppendToLast(entry)) {
      return true;
    }
  }
  ++refused_;
  return false;
}

bool EventLog::AppendToLast(std::span<const std::byte> entry) {
  SegmentUse& use = uses_.Last();
  if (!use.segment.Fits(use.end, entry.size())) {
    return false;
  }
  const std::optional<uint32_t> end = use.segment.Append(use.end, entry);
  if (!end) {
    segments_.FailFile();
    return false;
  }
  use.end = *end;
  return true;
}

EventLog::Position EventLog::Begin() const {
  return uses_.Empty() ? End()
                       : SegmentChain::Place(uses_.At(0).number, uses_.At(0).segment.Settled());
}

bool EventLog::InMemory() const {
  for (size_t i = 0; i < uses_.Count(); ++i) {
    if (!uses_.At(i).mapped) {
      return true;
    }
  }
  return false;
}

bool EventLog::HasMovable() const {
  for (size_t i = 0; i < uses_.Count(); ++i) {
    if (!uses_.At(i).mapped && uses_.At(i).segment.Size() == kSegmentSize) {
      return true;
    }
  }
  return false;
}

uint64_t EventLog::TakeRefused() {
  return std::exchange(refused_, 0);
}

bool EventLog::BeginUse(size_t entrySize) {
  if (uses_.Full()) {
    return false;
  }
  if (segments_.Ready() > 0 && entrySize <= kMaxEntrySize && BeginMappedUse()) {
    return true;
  }
  const Segment memory = segments_.TakeMemory(entrySize);
  return memory && StartUse(memory, false);
}

bool EventLog::BeginMappedUse() {
  if (StartUse(segments_.TakeMapped(), true)) {
    return true;
  }
  segments_.FailTaken();
  return false;
}

bool EventLog::StartUse(Segment segment, bool mapped) {
  if (!segment.Begin(lastNumber_ + 1)) {
    return false;
  }
  uses_.Add({segment, ++lastNumber_, kSegmentHeadSize, mapped});
  return true;
}

bool EventLog::AddRoom(std::byte* mapped) {
  if (!segments_.MayGrow() || !reader_.PrepareCopies()) {
    return false;
  }
  segments_.Add(mapped);
  if (!closed_ && !uses_.Empty() && !uses_.Last().mapped && !uses_.Full()) {
    return BeginMappedUse();
  }
  return true;
}

void EventLog::Settle(Position end) {
  while (!uses_.Empty()) {
    SegmentUse& use = uses_.At(0);
    const bool isLast = uses_.Count() == 1;
    // AddRoom begins a use before there is an entry for it.
    const bool isUnused = isLast && use.end == kSegmentHeadSize;
    if (!isUnused &&
        (SegmentChain::EndOf(use) > end || (isLast && SegmentChain::EndOf(use) != end))) {
      if (use.number == end >> 32 && !use.segment.Settle(static_cast<uint32_t>(end))) {
        segments_.FailFile();
      }
      return;
    }
    if (use.mapped) {
      segments_.ReturnMapped(use.segment);
    } else {
      segments_.FreeMemory(use.segment);
    }
    uses_.RemoveFirst();
  }
}

std::optional<EventLog::Migration> EventLog::BeginMigration() {
  // Until Close, hosts append to the last use, so it is not moved.
  const size_t count = uses_.Count() - (closed_ || uses_.Empty() ? 0 : 1);
  for (size_t i = 0; segments_.Ready() > 0 && i < count; ++i) {
    const SegmentUse& use = uses_.At(i);
    if (!use.mapped && use.segment.Size() == kSegmentSize) {
      return Migration{use.segment, segments_.TakeMapped(), use.end};
    }
  }
  return std::nullopt;
}

bool EventLog::Copy(const Migration& migration) {
  Segment to = migration.to;
  return Platform::CopyGuarded(to.Memory() + kSegmentHeadSize,
                               migration.from.Memory() + kSegmentHeadSize,
                               migration.end - kSegmentHeadSize) &&
         to.Begin(migration.from.Number(), migration.from.Settled());
}

void EventLog::EndMigration(const Migration& migration) {
  for (size_t i = 0; i < uses_.Count(); ++i) {
    SegmentUse& use = uses_.At(i);
    if (use.segment.Memory() == migration.from.Memory()) {
      use.segment = migration.to;
      use.mapped = true;
      segments_.FreeMemory(migration.from);
      return;
    }
  }
}

}  // namespace Tav
