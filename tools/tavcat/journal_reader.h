// Reads a journal as docs/journal-format.md describes it, without the library's reader, so that
// each of the two checks the other and the document.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "util/json.h"

namespace Tavcat {

inline constexpr size_t kJournalSegmentSize = 1048576;

struct JournalEvent {
  int64_t time = 0;         // milliseconds since 1970-01-01 UTC
  int16_t biasMinutes = 0;  // to be added to local time to get UTC
  unsigned kind = 0;
  std::string session;
  std::string name;
  std::string componentName;
  std::string componentVersion;
  Tav::JsonPtr properties;  // an object; null for none
  bool dropped = false;
  bool settled = false;
};

// One use of a segment.
struct JournalSegment {
  size_t offset = 0;  // in the file
  size_t size = 0;    // less than a whole segment at the end of a file that was cut short
  uint32_t number = 0;
  uint32_t settled = 0;  // an offset in the segment
  std::vector<JournalEvent> events;
  uint32_t end = 0;    // of the last whole entry; an offset in the segment
  std::string damage;  // of the entry at `end`; empty if none
};

struct JournalNote {
  uint32_t file = 0;
  uint64_t accepted = 0;  // bytes
};

struct Journal {
  std::string fault;  // why the file is not read; the rest is then empty
  uint32_t format = 0;
  int64_t startTime = 0;                // milliseconds since 1970-01-01 UTC
  Tav::JsonPtr run;                     // an object; null if missing or damaged
  std::vector<std::string> slotDamage;  // of the run block and the cache note
  std::optional<JournalNote> cacheNote;
  std::vector<JournalSegment> segments;  // in use, by their numbers
  size_t freeSegments = 0;
};

Journal ReadJournal(std::string_view bytes);

}  // namespace Tavcat
