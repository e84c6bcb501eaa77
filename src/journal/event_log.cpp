#include "journal/event_log.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/process.h"

namespace Tav {

EventLog::~EventLog() {
  while (!uses_.Empty()) {
    const Use& use = uses_.At(0);
    if (!use.mapped) {
      Platform::FreePages(use.segment.Memory(), use.segment.Size());
    }
    uses_.RemoveFirst();
  }
}

bool EventLog::Append(std::span<const std::byte> entry) {
  if (closed_) {
    return false;
  }
  uint32_t end = 0;  // none yet
  if (!uses_.Empty()) {
    Use& use = uses_.Last();
    // Entries go to the file again as soon as it has room.
    if (use.mapped || readyCount_ == 0) {
      end = use.segment.Append(use.end, entry).value_or(0);
    }
  }
  if (end == 0) {
    if (!BeginUse(entry.size())) {
      ++refused_;
      return false;
    }
    end = uses_.Last().segment.Append(kSegmentHeadSize, entry).value_or(kSegmentHeadSize);
  }
  uses_.Last().end = end;
  return true;
}

EventLog::Position EventLog::Begin() const {
  return uses_.Empty() ? End() : Place(uses_.At(0).number, uses_.At(0).segment.Settled());
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
  if (readyCount_ == 0 || entrySize > kMaxEntrySize) {
    return BeginMemoryUse(entrySize);
  }
  StartUse(Segment(ready_[--readyCount_]), true);
  return true;
}

bool EventLog::BeginMemoryUse(size_t entrySize) {
  const size_t size = std::max(kSegmentSize, entrySize + kSegmentHeadSize);
  if (size > kMaxBytes - std::min(bytes_, kMaxBytes)) {
    return false;
  }
  auto* const memory = static_cast<std::byte*>(Platform::AllocatePages(size));
  if (memory == nullptr) {
    return false;
  }
  bytes_ += size;
  StartUse(Segment(memory, size), false);
  return true;
}

void EventLog::StartUse(Segment segment, bool mapped) {
  segment.Begin(++lastNumber_);
  uses_.Add({segment, lastNumber_, kSegmentHeadSize, mapped});
}

bool EventLog::AddRoom(std::byte* mapped) {
  if (!MayGrow()) {
    return false;
  }
  growing_ = true;
  bytes_ += kSegmentSize;
  ready_[readyCount_++] = mapped;
  if (!closed_ && !uses_.Empty() && !uses_.Last().mapped && !uses_.Full()) {
    StartUse(Segment(ready_[--readyCount_]), true);
  }
  return true;
}

std::byte* EventLog::TakeRoom() {
  if (readyCount_ == 0) {
    return nullptr;
  }
  bytes_ -= kSegmentSize;
  return ready_[--readyCount_];
}

void EventLog::Settle(Position end) {
  while (!uses_.Empty()) {
    Use& use = uses_.At(0);
    const bool isLast = uses_.Count() == 1;
    if (EndOf(use) > end || (isLast && EndOf(use) != end)) {
      if (use.number == end >> 32) {
        use.segment.Settle(static_cast<uint32_t>(end));
      }
      return;
    }
    EndUse(use);
    uses_.RemoveFirst();
  }
}

void EventLog::EndUse(const Use& use) {
  if (use.mapped) {
    Segment(use.segment).Release();
    ready_[readyCount_++] = use.segment.Memory();
    return;
  }
  bytes_ -= use.segment.Size();
  Platform::FreePages(use.segment.Memory(), use.segment.Size());
}

std::optional<EventLog::Migration> EventLog::BeginMigration() {
  // Until Close, hosts append to the last use, so it is not moved.
  const size_t count = uses_.Count() - (closed_ || uses_.Empty() ? 0 : 1);
  for (size_t i = 0; readyCount_ > 0 && i < count; ++i) {
    const Use& use = uses_.At(i);
    if (!use.mapped && use.segment.Size() == kSegmentSize) {
      return Migration{use.segment, Segment(ready_[--readyCount_]), use.end};
    }
  }
  return std::nullopt;
}

void EventLog::Copy(const Migration& migration) {
  std::memcpy(migration.to.Memory() + kSegmentHeadSize, migration.from.Memory() + kSegmentHeadSize,
              migration.end - kSegmentHeadSize);
  Segment to = migration.to;
  to.Begin(migration.from.Number(), migration.from.Settled());
}

void EventLog::EndMigration(const Migration& migration) {
  for (size_t i = 0; i < uses_.Count(); ++i) {
    Use& use = uses_.At(i);
    if (use.segment.Memory() == migration.from.Memory()) {
      use.segment = migration.to;
      use.mapped = true;
      bytes_ -= kSegmentSize;
      Platform::FreePages(migration.from.Memory(), migration.from.Size());
      return;
    }
  }
}

std::optional<EventLog::Item> EventLog::Next(Position cursor, Position end) const {
  const auto cursorNumber = static_cast<uint32_t>(cursor >> 32);
  for (size_t i = uses_.IndexOf(cursorNumber); i < uses_.Count(); ++i) {
    const Use& use = uses_.At(i);
    const uint32_t offset = use.number == cursorNumber
                                ? std::max(static_cast<uint32_t>(cursor), kSegmentHeadSize)
                                : kSegmentHeadSize;
    const Position begin = Place(use.number, offset);
    if (begin >= end) {
      break;
    }
    if (const std::optional<EntryView> view = use.segment.At(offset)) {
      return Item{begin, begin + view->Size(), *view};
    }
  }
  return std::nullopt;
}

void EventLog::SetVerdict(Position entry, Verdict verdict) {
  const size_t index = uses_.IndexOf(static_cast<uint32_t>(entry >> 32));
  if (index < uses_.Count()) {
    uses_.At(index).segment.SetVerdict(static_cast<uint32_t>(entry), verdict);
  }
}

}  // namespace Tav
