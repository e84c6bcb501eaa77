#include <algorithm>
#include <string>

#include "tavcat/folder.h"
#include "tavcat/journal_reader.h"
#include "tavcat/text.h"
#include "util/time_stamp.h"

namespace Tavcat {

namespace {

constexpr int64_t kMillisecondsPerSecond = 1000;

const char* KindName(unsigned kind) {
  constexpr const char* kNames[] = {"marker", "event", "", "", "command", "error"};
  return kNames[kind];
}

// "2026-01-01T10:00:00.001+01:00  01234567  event  open  Spelling/1.3  {"file":"a.qwd"}  settled"
std::string EventText(const JournalEvent& event) {
  std::string text = Tav::FormatTimeStamp({event.time, event.biasMinutes}) + "  " +
                     event.session.substr(0, 8) + "  " + KindName(event.kind) + "  " + event.name;
  if (!event.componentName.empty()) {
    text += "  " + event.componentName + '/' + event.componentVersion;
  }
  if (event.properties) {
    text += "  " + JsonText(event.properties.Get());
  }
  text += event.dropped ? "  dropped" : "";
  return text + (event.settled ? "  settled" : "");
}

size_t CountUnsettled(const JournalSegment& segment) {
  return static_cast<size_t>(std::ranges::count_if(
      segment.events, [](const JournalEvent& event) { return !event.settled && !event.dropped; }));
}

void ShowHead(const Journal& journal, Report& report) {
  report.Line(1, "run of " + MomentText(journal.startTime / kMillisecondsPerSecond) + ", format " +
                     std::to_string(journal.format));
  for (const std::string& damage : journal.slotDamage) {
    report.Damage(2, damage + "; the other slot counts if it is whole");
  }
  if (journal.run) {
    report.Line(2, JsonText(journal.run.Get()));
  } else {
    report.Damage(2,
                  "the run block is missing or damaged; the run that recovers the events uses "
                  "its own");
  }
  if (journal.cacheNote) {
    report.Line(2, "accepted of cache file " + std::to_string(journal.cacheNote->file) + ": " +
                       Counted(static_cast<size_t>(journal.cacheNote->accepted), "byte"));
  }
}

void ShowSegment(const JournalSegment& segment, Report& report) {
  const size_t unsettled = CountUnsettled(segment);
  report.CountUnsettled(unsettled);
  std::string text =
      "segment " + std::to_string(segment.number) + " at offset " + std::to_string(segment.offset) +
      ": " + Counted(segment.events.size(), "event") + " up to " + std::to_string(segment.end) +
      ", settled up to " + std::to_string(segment.settled) + ", " + std::to_string(unsettled) +
      " to be delivered";
  if (segment.size < kJournalSegmentSize) {
    text += "; the file ends after " + Counted(segment.size, "byte") + " of it";
  }
  report.Line(1, text);
  if (report.GetForm() == Form::Events) {
    for (const JournalEvent& event : segment.events) {
      report.Line(2, EventText(event));
    }
  }
  if (!segment.damage.empty()) {
    report.Damage(2, "the entry at offset " + std::to_string(segment.offset + segment.end) +
                         " is damaged, " + segment.damage +
                         "; nothing from here to the end of the segment can be read");
  }
}

}  // namespace

void ShowJournal(std::string_view bytes, Report& report) {
  report.CountJournal();
  const Journal journal = ReadJournal(bytes);
  if (!journal.fault.empty()) {
    report.Damage(1, journal.fault + "; the library leaves the file alone");
    return;
  }
  ShowHead(journal, report);
  for (const JournalSegment& segment : journal.segments) {
    ShowSegment(segment, report);
  }
  if (journal.freeSegments > 0) {
    report.Line(1, Counted(journal.freeSegments, "free segment"));
  }
}

}  // namespace Tavcat
