#include "journal/journal_head.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>

#include "journal/segment.h"

namespace Tav {

namespace {

constexpr uint64_t kMagic = 0x4C4E524A56415401;  // 01 "TAVJRNL"
constexpr uint32_t kFormat = 1;
constexpr size_t kMaxHead = size_t{64} << 20;

// The fixed part. The checksum covers everything before it.
struct Preamble {
  uint64_t magic;
  uint32_t format;
  uint32_t headSize;
  uint32_t segmentSize;
  uint32_t reserved;
  int64_t startTime;
  uint64_t checksum;
};

// The start of a slot. The counter is stored last; zero means that the slot was never written.
struct SlotHead {
  uint64_t counter;
  uint64_t checksum;
  uint64_t length;
};

constexpr size_t kNoteSlotSize = 64;
constexpr size_t kNotesAt = 64;
constexpr size_t kRunBlocksAt = 4096;

static_assert(sizeof(Preamble) <= kNotesAt);
static_assert(sizeof(SlotHead) + sizeof(CacheNote) <= kNoteSlotSize);
static_assert(sizeof(CacheNote) == 24);

uint64_t Checksum(const std::byte* bytes, size_t count) {
  uint64_t sum = 0x9E3779B97F4A7C15 ^ count;
  for (size_t i = 0; i < count; ++i) {
    sum = (sum ^ static_cast<uint8_t>(bytes[i])) * 0x100000001B3;
  }
  return sum;
}

// Two slots of one size, one behind the other.
class Slots {
 public:
  Slots(std::byte* memory, size_t slotSize) : memory_(memory), slotSize_(slotSize) {}

  bool Write(std::span<const std::byte> content) {
    if (content.size() > slotSize_ - sizeof(SlotHead)) {
      return false;
    }
    const uint64_t first = Counter(0);
    const uint64_t second = Counter(1);
    std::byte* const slot = memory_ + (first <= second ? 0 : slotSize_);
    CounterOf(slot).store(0, std::memory_order_release);
    const uint64_t checksum = Checksum(content.data(), content.size());
    const uint64_t length = content.size();
    std::memcpy(slot + offsetof(SlotHead, checksum), &checksum, sizeof checksum);
    std::memcpy(slot + offsetof(SlotHead, length), &length, sizeof length);
    std::memcpy(slot + sizeof(SlotHead), content.data(), content.size());
    CounterOf(slot).store((first > second ? first : second) + 1, std::memory_order_release);
    return true;
  }

  // The content of the newest slot that is whole; empty if there is none.
  std::span<const std::byte> Read() const {
    const size_t newer = Counter(0) >= Counter(1) ? 0 : 1;
    for (const size_t index : {newer, 1 - newer}) {
      if (const std::span<const std::byte> content = ContentOf(index); !content.empty()) {
        return content;
      }
    }
    return {};
  }

 private:
  static std::atomic_ref<uint64_t> CounterOf(std::byte* slot) {
    return std::atomic_ref<uint64_t>(*reinterpret_cast<uint64_t*>(slot));
  }

  uint64_t Counter(size_t index) const {
    return CounterOf(memory_ + index * slotSize_).load(std::memory_order_acquire);
  }

  std::span<const std::byte> ContentOf(size_t index) const {
    const std::byte* const slot = memory_ + index * slotSize_;
    SlotHead head{};
    std::memcpy(&head, slot, sizeof head);
    if (head.counter == 0 || head.length > slotSize_ - sizeof head ||
        Checksum(slot + sizeof head, head.length) != head.checksum) {
      return {};
    }
    return {slot + sizeof head, head.length};
  }

  std::byte* memory_;
  size_t slotSize_;
};

Slots NoteSlots(std::span<std::byte> head) {
  return {head.data() + kNotesAt, kNoteSlotSize};
}

Slots RunBlockSlots(std::span<std::byte> head) {
  return {head.data() + kRunBlocksAt, (head.size() - kRunBlocksAt) / 2};
}

Preamble PreambleOf(std::span<const std::byte> memory) {
  Preamble preamble{};
  std::memcpy(&preamble, memory.data(), sizeof preamble);
  return preamble;
}

uint64_t PreambleChecksum(std::span<const std::byte> memory) {
  return Checksum(memory.data(), offsetof(Preamble, checksum));
}

}  // namespace

size_t JournalHead::SizeFor(size_t runBlockSize) {
  // A quarter more, for an endpoint identifier that is found later.
  const size_t slot = sizeof(SlotHead) + runBlockSize + runBlockSize / 4 + 256;
  const size_t size = kRunBlocksAt + 2 * slot;
  return (size + kHeadUnit - 1) / kHeadUnit * kHeadUnit;
}

std::optional<JournalHead> JournalHead::Read(std::span<std::byte> file) {
  if (file.size() < kHeadUnit) {
    return std::nullopt;
  }
  const Preamble preamble = PreambleOf(file);
  if (preamble.magic != kMagic || preamble.format != kFormat ||
      preamble.segmentSize != kSegmentSize || preamble.headSize > file.size() ||
      preamble.headSize > kMaxHead || preamble.headSize == 0 ||
      preamble.headSize % kHeadUnit != 0 || preamble.checksum != PreambleChecksum(file)) {
    return std::nullopt;
  }
  return JournalHead(file.first(preamble.headSize));
}

bool JournalHead::IsMissing(std::span<const std::byte> file) {
  const std::span<const std::byte> magic = file.first(std::min(file.size(), sizeof kMagic));
  return std::ranges::all_of(magic, [](std::byte each) { return each == std::byte{0}; });
}

JournalHead JournalHead::Create(std::span<std::byte> memory, int64_t startTime) {
  Preamble preamble{};
  preamble.magic = kMagic;
  preamble.format = kFormat;
  preamble.headSize = static_cast<uint32_t>(memory.size());
  preamble.segmentSize = static_cast<uint32_t>(kSegmentSize);
  preamble.startTime = startTime;
  const auto* const bytes = reinterpret_cast<const std::byte*>(&preamble);
  preamble.checksum = Checksum(bytes, offsetof(Preamble, checksum));
  constexpr size_t kMagicSize = sizeof preamble.magic;
  std::memcpy(memory.data() + kMagicSize, bytes + kMagicSize, sizeof preamble - kMagicSize);
  std::atomic_ref<uint64_t>(*reinterpret_cast<uint64_t*>(memory.data()))
      .store(kMagic, std::memory_order_release);
  return JournalHead(memory);
}

int64_t JournalHead::StartTime() const {
  return PreambleOf(memory_).startTime;
}

bool JournalHead::WriteRunBlock(std::span<const std::byte> block) {
  return RunBlockSlots(memory_).Write(block);
}

std::span<const std::byte> JournalHead::RunBlockBytes() const {
  return RunBlockSlots(memory_).Read();
}

void JournalHead::WriteCacheNote(const CacheNote& note) {
  std::array<std::byte, sizeof note> bytes;
  std::memcpy(bytes.data(), &note, sizeof note);
  NoteSlots(memory_).Write(bytes);
}

std::optional<CacheNote> JournalHead::ReadCacheNote() const {
  const std::span<const std::byte> bytes = NoteSlots(memory_).Read();
  if (bytes.size() != sizeof(CacheNote)) {
    return std::nullopt;
  }
  CacheNote note;
  std::memcpy(&note, bytes.data(), sizeof note);
  return note;
}

}  // namespace Tav
