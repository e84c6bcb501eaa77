#include "journal/segment.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/guarded_copy.h"

namespace Tav {

namespace {

constexpr size_t kNumberAt = 8;
constexpr size_t kVerdictAt = 12;
constexpr size_t kTimeAt = 16;

using Platform::CopyGuarded;
using Platform::LoadGuarded;
using Platform::StoreGuarded;

}  // namespace

std::optional<uint64_t> Segment::Load() const {
  uint64_t word = 0;
  return LoadGuarded(memory_, word) ? std::optional(word) : std::nullopt;
}

bool Segment::Store(uint32_t number, uint32_t settled) {
  return StoreGuarded(memory_, uint64_t{number} << 32 | settled);
}

bool Segment::Settle(uint32_t offset) {
  const uint32_t number = Number();
  return number != 0 && Store(number, offset);
}

std::optional<uint32_t> Segment::Append(uint32_t offset, std::span<const std::byte> entry) {
  const uint32_t number = Number();
  if (!Fits(offset, entry.size()) || number == 0) {
    return std::nullopt;
  }
  std::byte* const target = memory_ + offset;
  // Remainders of an earlier use must not count. After the entry they cannot, because their number
  // is an older one. At its place they are cleared, so that an entry that is not completed does not
  // count as damaged.
  struct Head {
    uint64_t seal;
    uint32_t number;
    uint32_t verdict;
  };
  static_assert(sizeof(Head) == kTimeAt && offsetof(Head, number) == kNumberAt &&
                offsetof(Head, verdict) == kVerdictAt);
  Head head{};
  std::memcpy(&head, entry.data(), sizeof head);
  // The checksum is the upper half.
  const uint64_t seal = head.seal ^ uint64_t { number } << 32;
  head.seal = 0;
  head.number = number;
  // Three calls that the compiler does not reorder: a kill sees the stores in their order.
  const bool stored =
      CopyGuarded(target, &head, sizeof head) &&
      CopyGuarded(target + kTimeAt, entry.data() + kTimeAt, entry.size() - kTimeAt) &&
      StoreGuarded(target, seal);
  return stored ? std::optional(static_cast<uint32_t>(offset + entry.size())) : std::nullopt;
}

std::optional<EntryView> Segment::At(uint32_t offset, EntryCopy* copy) const {
  if (offset < kSegmentHeadSize || offset + kEntryHeaderSize > size_ ||
      offset % kEntryAlignment != 0) {
    return std::nullopt;
  }
  uint64_t seal = 0;
  const std::optional<uint64_t> word = Load();
  bool loaded = word && LoadGuarded(memory_ + offset, seal);
  const auto size = static_cast<uint32_t>(seal);
  std::span<const std::byte> entry{memory_ + offset, size_ - offset};
  if (copy != nullptr) {
    if (size > std::min(entry.size(), kSegmentSize)) {
      return std::nullopt;
    }
    loaded = loaded && CopyGuarded(copy->memory, entry.data(), size);
    copy->failed = copy->failed || !loaded;
    entry = {copy->memory, size};
  }
  return loaded ? EntryView::Read(entry, static_cast<uint32_t>(*word >> 32)) : std::nullopt;
}

void Segment::SetVerdict(uint32_t offset, Verdict verdict) {
  auto value = static_cast<uint32_t>(verdict);
  CopyGuarded(memory_ + offset + kVerdictAt, &value, sizeof value);
}

bool Segment::CanRead(uint32_t begin, uint32_t end) const {
  constexpr uint32_t kPage = 4096;
  uint64_t word = 0;
  for (uint32_t at = begin / kPage * kPage; at < end; at += kPage) {
    if (!LoadGuarded(memory_ + at, word)) {
      return false;
    }
  }
  return true;
}

bool Segment::DamagedAt(uint32_t offset) const {
  uint64_t head[2] = {};
  return offset + kEntryHeaderSize <= size_ && CopyGuarded(head, memory_ + offset, sizeof head) &&
         static_cast<uint32_t>(head[0]) != 0 && static_cast<uint32_t>(head[1]) == Number();
}

}  // namespace Tav
