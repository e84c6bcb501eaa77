#include "journal/journal_head.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "journal/segment.h"
#include "platform/guarded_copy.h"

namespace Tav {

namespace {

using Platform::CopyGuarded;
using Platform::LoadGuarded;
using Platform::StoreGuarded;

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

// Two slots of one size, one behind the other. A slot whose page cannot be loaded is empty, and
// nothing is stored in it.
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
    const SlotHead head{0, Checksum(content.data(), content.size()), content.size()};
    if (StoreGuarded(slot, 0) && CopyGuarded(slot, &head, sizeof head) &&
        CopyGuarded(slot + sizeof head, content.data(), content.size())) {
      StoreGuarded(slot, std::max(first, second) + 1);
    }
    return true;
  }

  // The content of the newest slot that is whole; empty if there is none.
  std::vector<std::byte> Read() const {
    const size_t newer = Counter(0) >= Counter(1) ? 0 : 1;
    for (const size_t index : {newer, 1 - newer}) {
      if (std::vector<std::byte> content = ContentOf(index); !content.empty()) {
        return content;
      }
    }
    return {};
  }

 private:
  uint64_t Counter(size_t index) const {
    uint64_t counter = 0;
    LoadGuarded(memory_ + index * slotSize_, counter);
    return counter;
  }

  std::vector<std::byte> ContentOf(size_t index) const {
    const std::byte* const slot = memory_ + index * slotSize_;
    SlotHead head{};
    if (!CopyGuarded(&head, slot, sizeof head) || head.counter == 0 ||
        head.length > slotSize_ - sizeof head) {
      return {};
    }
    std::vector<std::byte> content(head.length);
    const bool valid = CopyGuarded(content.data(), slot + sizeof head, content.size()) &&
                       Checksum(content.data(), content.size()) == head.checksum;
    return valid ? std::move(content) : std::vector<std::byte>();
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

// All zero if it cannot be loaded.
Preamble PreambleOf(std::span<const std::byte> memory) {
  Preamble preamble{};
  return CopyGuarded(&preamble, memory.data(), sizeof preamble) ? preamble : Preamble{};
}

uint64_t ChecksumOf(const Preamble& preamble) {
  return Checksum(reinterpret_cast<const std::byte*>(&preamble), offsetof(Preamble, checksum));
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
      preamble.headSize % kHeadUnit != 0 || preamble.checksum != ChecksumOf(preamble)) {
    return std::nullopt;
  }
  return JournalHead(file.first(preamble.headSize));
}

bool JournalHead::IsMissing(std::span<const std::byte> file) {
  uint64_t magic = 0;
  return CopyGuarded(&magic, file.data(), std::min(file.size(), sizeof magic)) && magic == 0;
}

JournalHead JournalHead::Create(std::span<std::byte> memory, int64_t startTime) {
  Preamble preamble{};
  preamble.magic = kMagic;
  preamble.format = kFormat;
  preamble.headSize = static_cast<uint32_t>(memory.size());
  preamble.segmentSize = static_cast<uint32_t>(kSegmentSize);
  preamble.startTime = startTime;
  preamble.checksum = ChecksumOf(preamble);
  constexpr size_t kMagicSize = sizeof preamble.magic;
  const auto* const bytes = reinterpret_cast<const std::byte*>(&preamble);
  if (CopyGuarded(memory.data() + kMagicSize, bytes + kMagicSize, sizeof preamble - kMagicSize)) {
    StoreGuarded(memory.data(), kMagic);
  }
  return JournalHead(memory);
}

int64_t JournalHead::StartTime() const {
  return PreambleOf(memory_).startTime;
}

bool JournalHead::WriteRunBlock(std::span<const std::byte> block) {
  return RunBlockSlots(memory_).Write(block);
}

std::vector<std::byte> JournalHead::RunBlockBytes() const {
  return RunBlockSlots(memory_).Read();
}

void JournalHead::WriteCacheNote(const CacheNote& note) {
  std::array<std::byte, sizeof note> bytes;
  std::memcpy(bytes.data(), &note, sizeof note);
  NoteSlots(memory_).Write(bytes);
}

std::optional<CacheNote> JournalHead::ReadCacheNote() const {
  const std::vector<std::byte> bytes = NoteSlots(memory_).Read();
  if (bytes.size() != sizeof(CacheNote)) {
    return std::nullopt;
  }
  CacheNote note;
  std::memcpy(&note, bytes.data(), sizeof note);
  return note;
}

}  // namespace Tav
