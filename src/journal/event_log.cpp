#include "journal/event_log.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/guarded_copy.h"
#include "platform/process.h"
#include "util/logger.h"

namespace Tav {

EventLog::~EventLog() {
  while (!uses_.Empty()) {
    const Use& use = uses_.At(0);
    if (!use.mapped) {
      Platform::FreePages(use.segment.Memory(), use.segment.Size());
    }
    uses_.RemoveFirst();
  }
  Platform::FreePages(copy_.memory, kSegmentSize);
}

bool EventLog::Append(std::span<const std::byte> entry) {
  if (closed_) {
    return false;
  }
  // Entries go to the file again as soon as it has room.
  const bool useLast = !uses_.Empty() && (uses_.Last().mapped ? !fileFailed_ : readyCount_ == 0);
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
  Use& use = uses_.Last();
  if (!use.segment.Fits(use.end, entry.size())) {
    return false;
  }
  const std::optional<uint32_t> end = use.segment.Append(use.end, entry);
  if (!end) {
    FailFile();
    return false;
  }
  use.end = *end;
  return true;
}

void EventLog::FailFile() {
  fileFailed_ = true;
  growing_ = false;
  bytes_ -= readyCount_ * kSegmentSize;
  readyCount_ = 0;
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
  if (readyCount_ > 0 && entrySize <= kMaxEntrySize && StartMappedUse()) {
    return true;
  }
  return BeginMemoryUse(entrySize);
}

bool EventLog::StartMappedUse() {
  if (StartUse(Segment(ready_[--readyCount_]), true)) {
    return true;
  }
  bytes_ -= kSegmentSize;
  FailFile();
  return false;
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
  return StartUse(Segment(memory, size), false);
}

bool EventLog::StartUse(Segment segment, bool mapped) {
  if (!segment.Begin(lastNumber_ + 1)) {
    return false;
  }
  uses_.Add({segment, ++lastNumber_, kSegmentHeadSize, mapped});
  return true;
}

bool EventLog::PrepareCopies() {
  if (copy_.memory == nullptr) {
    copy_.memory = static_cast<std::byte*>(Platform::AllocatePages(kSegmentSize));
  }
  return copy_.memory != nullptr;
}

bool EventLog::AddRoom(std::byte* mapped) {
  if (!MayGrow() || !PrepareCopies()) {
    return false;
  }
  growing_ = true;
  bytes_ += kSegmentSize;
  ready_[readyCount_++] = mapped;
  if (!closed_ && !uses_.Empty() && !uses_.Last().mapped && !uses_.Full()) {
    return StartMappedUse();
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
    // AddRoom begins a use before there is an entry for it.
    const bool isUnused = isLast && use.end == kSegmentHeadSize;
    if (!isUnused && (EndOf(use) > end || (isLast && EndOf(use) != end))) {
      if (use.number == end >> 32 && !use.segment.Settle(static_cast<uint32_t>(end))) {
        FailFile();
      }
      return;
    }
    EndUse(use);
    uses_.RemoveFirst();
  }
}

void EventLog::EndUse(const Use& use) {
  if (use.mapped) {
    if (!Segment(use.segment).Release()) {
      FailFile();
    }
    if (!fileFailed_) {
      ready_[readyCount_++] = use.segment.Memory();
      return;
    }
  }
  bytes_ -= use.segment.Size();
  if (use.mapped) {
    return;
  }
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

bool EventLog::Copy(const Migration& migration) {
  Segment to = migration.to;
  return Platform::CopyGuarded(to.Memory() + kSegmentHeadSize,
                               migration.from.Memory() + kSegmentHeadSize,
                               migration.end - kSegmentHeadSize) &&
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

void EventLog::FailMigration() {
  bytes_ -= kSegmentSize;
  FailFile();
}

std::optional<EventLog::Item> EventLog::Next(Position cursor, Position end) {
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
    // The end of the last use changes meanwhile.
    if (i + 1 < uses_.Count() && offset >= use.end) {
      continue;
    }
    if (const std::optional<EntryView> view =
            use.segment.At(offset, use.mapped ? &copy_ : nullptr)) {
      return Item{begin, begin + view->Size(), *view};
    }
    ReportDamage(begin);
  }
  return std::nullopt;
}

// Entries are read again when a record could not be built.
void EventLog::ReportDamage(Position entry) {
  if (!copy_.failed && entry > lastDamage_) {
    lastDamage_ = entry;
    LogWarning("SM: An accepted event is damaged. It and up to 1 MiB of events after it are lost");
  }
}

bool EventLog::AreInFile(Position begin, Position end) const {
  const auto first = static_cast<uint32_t>(begin >> 32);
  const auto last = static_cast<uint32_t>(end >> 32);
  for (size_t i = uses_.IndexOf(first); i < uses_.Count() && uses_.At(i).number <= last; ++i) {
    const Use& use = uses_.At(i);
    const uint32_t from = use.number == first ? static_cast<uint32_t>(begin) : 0;
    const uint32_t to = use.number == last ? static_cast<uint32_t>(end) : use.end;
    if (from < to &&
        !(use.mapped && use.segment.Number() == use.number && use.segment.CanRead(from, to))) {
      return false;
    }
  }
  return true;
}

void EventLog::SetVerdict(Position entry, Verdict verdict) {
  const size_t index = uses_.IndexOf(static_cast<uint32_t>(entry >> 32));
  if (index < uses_.Count()) {
    uses_.At(index).segment.SetVerdict(static_cast<uint32_t>(entry), verdict);
  }
}

}  // namespace Tav
