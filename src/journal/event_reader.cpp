#include "journal/event_reader.h"

#include <algorithm>
#include <cstddef>

#include "platform/process.h"
#include "util/logger.h"

namespace Tav {

EventReader::~EventReader() {
  Platform::FreePages(copy_.memory, kSegmentSize);
}

bool EventReader::PrepareCopies() {
  if (copy_.memory == nullptr) {
    copy_.memory = static_cast<std::byte*>(Platform::AllocatePages(kSegmentSize));
  }
  return copy_.memory != nullptr;
}

std::optional<EventReader::Item> EventReader::Next(Position cursor, Position end) {
  const auto cursorNumber = static_cast<uint32_t>(cursor >> 32);
  for (size_t i = uses_.IndexOf(cursorNumber); i < uses_.Count(); ++i) {
    const SegmentUse& use = uses_.At(i);
    const uint32_t offset = use.number == cursorNumber
                                ? std::max(static_cast<uint32_t>(cursor), kSegmentHeadSize)
                                : kSegmentHeadSize;
    const Position begin = SegmentChain::Place(use.number, offset);
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
void EventReader::ReportDamage(Position entry) {
  if (!copy_.failed && entry > lastDamage_) {
    lastDamage_ = entry;
    LogWarning("SM: An accepted event is damaged. It and up to 1 MiB of events after it are lost");
  }
}

bool EventReader::AreInFile(Position begin, Position end) const {
  const auto first = static_cast<uint32_t>(begin >> 32);
  const auto last = static_cast<uint32_t>(end >> 32);
  for (size_t i = uses_.IndexOf(first); i < uses_.Count() && uses_.At(i).number <= last; ++i) {
    const SegmentUse& use = uses_.At(i);
    const uint32_t from = use.number == first ? static_cast<uint32_t>(begin) : 0;
    const uint32_t to = use.number == last ? static_cast<uint32_t>(end) : use.end;
    if (from < to &&
        !(use.mapped && use.segment.Number() == use.number && use.segment.CanRead(from, to))) {
      return false;
    }
  }
  return true;
}

void EventReader::SetVerdict(Position entry, Verdict verdict) {
  const size_t index = uses_.IndexOf(static_cast<uint32_t>(entry >> 32));
  if (index < uses_.Count()) {
    uses_.At(index).segment.SetVerdict(static_cast<uint32_t>(entry), verdict);
  }
}

}  // namespace Tav
