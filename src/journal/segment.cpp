#include "journal/segment.h"

#include <atomic>
#include <cstring>

namespace Tav {

namespace {

constexpr size_t kNumberAt = 8;
constexpr size_t kVerdictAt = 12;

// Two stores through these functions become visible in their order, also to another process that
// opens the file after this one has died.
std::atomic_ref<uint64_t> Word(std::byte* at) {
  return std::atomic_ref<uint64_t>(*reinterpret_cast<uint64_t*>(at));
}

}  // namespace

uint64_t Segment::Load() const {
  return Word(memory_).load(std::memory_order_acquire);
}

void Segment::Store(uint32_t number, uint32_t settled) {
  Word(memory_).store(uint64_t{number} << 32 | settled, std::memory_order_release);
}

std::optional<uint32_t> Segment::Append(uint32_t offset, std::span<const std::byte> entry) {
  if (entry.size() > size_ - offset) {
    return std::nullopt;
  }
  const uint32_t number = Number();
  std::byte* const target = memory_ + offset;
  const auto end = static_cast<uint32_t>(offset + entry.size());
  // Remainders of an earlier use must not count. After the entry they cannot, because their number
  // is an older one. At its place they are cleared, so that an entry that is not completed does not
  // count as damaged.
  Word(target).store(0, std::memory_order_release);
  std::atomic_signal_fence(std::memory_order_seq_cst);  // a kill sees the stores in their order
  std::memcpy(target + kNumberAt, &number, sizeof number);
  std::memcpy(target + kVerdictAt, entry.data() + kVerdictAt, entry.size() - kVerdictAt);
  uint64_t seal = 0;
  std::memcpy(&seal, entry.data(), sizeof seal);
  // The checksum is the upper half.
  Word(target).store(seal ^ uint64_t{number} << 32, std::memory_order_release);
  return end;
}

std::optional<EntryView> Segment::At(uint32_t offset) const {
  if (offset < kSegmentHeadSize || offset + kEntryHeaderSize > size_ ||
      offset % kEntryAlignment != 0) {
    return std::nullopt;
  }
  Word(memory_ + offset).load(std::memory_order_acquire);
  return EntryView::Read({memory_ + offset, size_ - offset}, Number());
}

void Segment::SetVerdict(uint32_t offset, Verdict verdict) {
  std::atomic_ref<uint32_t>(*reinterpret_cast<uint32_t*>(memory_ + offset + kVerdictAt))
      .store(static_cast<uint32_t>(verdict), std::memory_order_relaxed);
}

bool Segment::DamagedAt(uint32_t offset) const {
  if (offset + kEntryHeaderSize > size_) {
    return false;
  }
  const auto size = static_cast<uint32_t>(Word(memory_ + offset).load(std::memory_order_acquire));
  uint32_t number = 0;
  std::memcpy(&number, memory_ + offset + kNumberAt, sizeof number);
  return size != 0 && number == Number();
}

}  // namespace Tav
