#include "tavcat/journal_reader.h"

#include <algorithm>
#include <utility>

#include "tavcat/journal_parser.h"

namespace Tavcat {

namespace {

constexpr std::string_view kMagic = "\x01TAVJRNL";
constexpr uint32_t kKnownFormat = 1;
constexpr size_t kHeadUnit = 65536;
constexpr size_t kMaxHead = size_t{64} << 20;
constexpr size_t kNotes = 64;  // where the slots of the cache note begin
constexpr size_t kNoteSlot = 64;
constexpr size_t kRunBlocks = 4096;
constexpr size_t kSlotHead = 24;
constexpr size_t kSegmentHead = 64;
constexpr size_t kEntryHead = 32;
constexpr size_t kChecked = 16;  // the checksum of an entry covers the bytes from here on
constexpr size_t kUuidBytes = 16;
constexpr unsigned kMaxKind = 5;
constexpr uint64_t kFirstSum = 0x9E3779B97F4A7C15;

uint64_t HeadChecksum(std::string_view bytes) {
  uint64_t sum = kFirstSum ^ bytes.size();
  for (const char byte : bytes) {
    sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  }
  return sum;
}

uint32_t EntryChecksum(std::string_view entry) {
  uint64_t sum = kFirstSum ^ entry.size();
  for (size_t i = kChecked; i < entry.size(); i += 8) {
    sum = (sum ^ At<uint64_t>(entry, i)) * 0xD6E8FEB86659FD93;
    sum ^= sum >> 32;
  }
  return static_cast<uint32_t>(sum);
}

// The newer whole text of two slots; empty if there is none.
std::string_view ReadSlots(std::string_view slots, const char* what, Journal& journal) {
  const size_t size = slots.size() / 2;
  std::string_view found;
  uint64_t newest = 0;
  for (size_t i = 0; i < 2; ++i) {
    const std::string_view slot = slots.substr(i * size, size);
    const auto counter = At<uint64_t>(slot, 0);
    const auto length = At<uint64_t>(slot, 16);
    if (counter == 0) {
      continue;
    }
    if (length > size - kSlotHead ||
        HeadChecksum(slot.substr(kSlotHead, static_cast<size_t>(length))) !=
            At<uint64_t>(slot, 8)) {
      journal.slotDamage.push_back(std::string("slot ") + std::to_string(i + 1) + " of the " +
                                   what + " is damaged");
    } else if (counter > newest) {
      newest = counter;
      found = slot.substr(kSlotHead, static_cast<size_t>(length));
    }
  }
  return found;
}

// Why the file is not a journal that can be read; empty if it is one.
std::string HeadFault(std::string_view bytes) {
  if (bytes.size() < kHeadUnit) {
    return "the file ends within the head";
  }
  if (!bytes.starts_with(kMagic)) {
    return "it does not begin with the magic number";
  }
  if (At<uint64_t>(bytes, 32) != HeadChecksum(bytes.substr(0, 32))) {
    return "the checksum of the head is wrong";
  }
  if (const auto format = At<uint32_t>(bytes, 8); format != kKnownFormat) {
    return "format " + std::to_string(format) + " is not known";
  }
  const auto headSize = At<uint32_t>(bytes, 12);
  if (headSize == 0 || headSize % kHeadUnit != 0 || headSize > kMaxHead ||
      headSize > bytes.size() || At<uint32_t>(bytes, 16) != kJournalSegmentSize) {
    return "the sizes in the head are wrong";
  }
  return {};
}

void ReadHead(std::string_view head, Journal& journal) {
  journal.format = At<uint32_t>(head, 8);
  journal.startTime = At<int64_t>(head, 24);
  const std::string_view note =
      ReadSlots(head.substr(kNotes, 2 * kNoteSlot), "cache note", journal);
  if (note.size() == 24) {
    journal.cacheNote = {At<uint32_t>(note, 0), At<uint64_t>(note, 8)};
  }
  JournalParser run(ReadSlots(head.substr(kRunBlocks), "run block", journal));
  journal.run = run.Object();
}

std::string UuidText(std::string_view bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) {
      text += '-';
    }
    for (const int shift : {4, 0}) {
      text += "0123456789abcdef"[(static_cast<unsigned char>(bytes[i]) >> shift) & 0xF];
    }
  }
  return text;
}

// False if the contents of an entry are malformed.
bool ReadEntry(std::string_view entry, JournalEvent& event) {
  constexpr unsigned kIsUuid = 1;
  constexpr unsigned kHasProperties = 2;
  event.dropped = At<uint32_t>(entry, 12) != 0;
  event.time = At<int64_t>(entry, 16);
  event.biasMinutes = At<int16_t>(entry, 28);
  event.kind = At<uint8_t>(entry, 30);
  const unsigned flags = At<uint8_t>(entry, 31);
  JournalParser parser(entry.substr(kEntryHead));
  event.session = (flags & kIsUuid) != 0 ? UuidText(parser.Take(kUuidBytes)) : parser.Text();
  event.name = parser.Text();
  event.componentName = parser.Text();
  event.componentVersion = parser.Text();
  if ((flags & kHasProperties) != 0) {
    event.properties = parser.Object();
  }
  const bool isValue = event.kind == 2 || event.kind == 3;
  return parser.Good() && parser.Left() < 8 && event.kind <= kMaxKind && !isValue;
}

// What is wrong with the bytes at the end of the entries; empty if nothing is.
std::string EntryFault(std::string_view rest, uint32_t number) {
  const auto size = At<uint32_t>(rest, 0);
  if (size == 0 || At<uint32_t>(rest, 8) != number) {
    return {};
  }
  if (size < kEntryHead || size % 8 != 0) {
    return "its size is " + std::to_string(size);
  }
  if (size > rest.size()) {
    return "only " + std::to_string(rest.size()) + " of " + std::to_string(size) +
           " bytes are there";
  }
  if ((EntryChecksum(rest.substr(0, size)) ^ number) != At<uint32_t>(rest, 4)) {
    return "its checksum is wrong";
  }
  return "its contents are malformed";
}

// The size of the entry at the start of `rest`; 0 if there is no whole one.
uint32_t WholeEntry(std::string_view rest, uint32_t number, JournalEvent& event) {
  const auto size = At<uint32_t>(rest, 0);
  const bool whole = size >= kEntryHead && size % 8 == 0 && size <= rest.size() &&
                     At<uint32_t>(rest, 8) == number &&
                     (EntryChecksum(rest.substr(0, size)) ^ number) == At<uint32_t>(rest, 4) &&
                     ReadEntry(rest.substr(0, size), event);
  return whole ? size : 0;
}

void ReadEntries(std::string_view bytes, JournalSegment& segment) {
  segment.end = kSegmentHead;
  while (segment.end + kEntryHead <= bytes.size()) {
    JournalEvent event;
    const uint32_t size = WholeEntry(bytes.substr(segment.end), segment.number, event);
    if (size == 0) {
      segment.damage = EntryFault(bytes.substr(segment.end), segment.number);
      return;
    }
    segment.end += size;
    event.settled = segment.end <= segment.settled;
    segment.events.push_back(std::move(event));
  }
}

}  // namespace

Journal ReadJournal(std::string_view bytes) {
  Journal journal;
  journal.fault = HeadFault(bytes);
  if (!journal.fault.empty()) {
    return journal;
  }
  const size_t headSize = At<uint32_t>(bytes, 12);
  ReadHead(bytes.substr(0, headSize), journal);
  for (size_t at = headSize; at + kSegmentHead <= bytes.size(); at += kJournalSegmentSize) {
    const std::string_view memory = bytes.substr(at, kJournalSegmentSize);
    JournalSegment segment;
    segment.offset = at;
    segment.size = memory.size();
    segment.settled = At<uint32_t>(memory, 0);
    segment.number = At<uint32_t>(memory, 4);
    if (segment.number == 0) {
      ++journal.freeSegments;
      continue;
    }
    ReadEntries(memory, segment);
    journal.segments.push_back(std::move(segment));
  }
  std::ranges::sort(journal.segments, {}, &JournalSegment::number);
  return journal;
}

}  // namespace Tavcat
