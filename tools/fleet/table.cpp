#include <cmath>
#include <cstdio>

#include "fleet/summary.h"

namespace Fleet {

namespace {

int64_t Rounded(double value) {
  return std::llround(value);
}

// `unit`: of the text table. 't' is a time, 's' a number of seconds.
struct Row {
  const char* title;
  const char* key;  // in the CSV table
  char unit;
  int64_t (*value)(const Summary&);
};

constexpr Row kRows[] = {
    {"clients", "clients", 'n', [](const Summary& s) { return s.clients; }},
    {"requests, accepted", "requests", 'n', [](const Summary& s) { return s.requests; }},
    {"  a second, mean", "mean_rate", 'n', [](const Summary& s) { return Rounded(s.meanRate); }},
    {"  in the peak minute, a second", "peak_minute_rate", 'n',
     [](const Summary& s) { return Rounded(s.minute.value); }},
    {"    at", "peak_minute_time", 't', [](const Summary& s) { return s.minute.time; }},
    {"  in the peak second", "peak_second", 'n',
     [](const Summary& s) { return Rounded(s.second.value); }},
    {"    at", "peak_second_time", 't', [](const Summary& s) { return s.second.time; }},
    {"  in a second after the return", "peak_after_return", 'n',
     [](const Summary& s) { return Rounded(s.afterReturn.value); }},
    {"answered 503", "too_many", 'n', [](const Summary& s) { return s.tooMany; }},
    {"attempts in vain", "gone", 'n', [](const Summary& s) { return s.gone; }},
    {"  in the peak second", "gone_peak_second", 'n',
     [](const Summary& s) { return Rounded(s.goneSecond.value); }},
    {"bytes received", "bytes", 'n', [](const Summary& s) { return s.bytes; }},
    {"  a second, in the peak minute", "peak_byte_rate", 'n',
     [](const Summary& s) { return Rounded(s.byteRate.value); }},
    {"events reported", "events", 'n', [](const Summary& s) { return s.made; }},
    {"  delivered", "events_delivered", 'n', [](const Summary& s) { return s.delivered; }},
    {"  on clients at the end", "events_waiting", 'n',
     [](const Summary& s) { return s.waitingEvents; }},
    {"  dropped", "events_dropped", 'n', [](const Summary& s) { return s.droppedEvents; }},
    {"clients behind, at most", "behind", 'n',
     [](const Summary& s) { return Rounded(s.behind.value); }},
    {"backlog, records at most", "backlog_records", 'n',
     [](const Summary& s) { return Rounded(s.backlogRecords.value); }},
    {"backlog, bytes at most", "backlog_bytes", 'n',
     [](const Summary& s) { return Rounded(s.backlogBytes.value); }},
    {"  on one client", "backlog_one_client", 'n', [](const Summary& s) { return s.largest; }},
    {"clients with a full cache", "clients_dropping", 'n',
     [](const Summary& s) { return s.dropping; }},
    {"half drained after", "drained_half", 's', [](const Summary& s) { return s.half; }},
    {"99 % drained after", "drained_most", 's', [](const Summary& s) { return s.most; }},
    {"all drained after", "drained_all", 's', [](const Summary& s) { return s.all; }},
};

std::string DurationText(int64_t seconds) {
  char text[40];
  std::snprintf(text, sizeof text, "%d:%02d:%02d", static_cast<int>(seconds / 3600),
                static_cast<int>(seconds / 60 % 60), static_cast<int>(seconds % 60));
  return text;
}

std::string TextOf(char unit, int64_t value) {
  switch (unit) {
    case 't':
      return ClockText(value);
    case 's':
      return value == kNever ? "-" : DurationText(value);
    default:
      return WithSeparators(value);
  }
}

std::string Padded(const std::string& text, size_t width, bool left) {
  const std::string blanks(width > text.size() ? width - text.size() : 0, ' ');
  return left ? text + blanks : blanks + text;
}

}  // namespace

std::string WithSeparators(int64_t number) {
  const std::string digits = std::to_string(number);
  std::string text;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) {
      text += ',';
    }
    text += digits[i];
  }
  return text;
}

std::string ClockText(int64_t time) {
  char text[40];
  const int64_t second = time % kDay;
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", static_cast<int>(second / 3600),
                static_cast<int>(second / 60 % 60), static_cast<int>(second % 60));
  std::string clock = std::to_string(time / kDay + 1);
  clock.append("d ").append(text);
  return time < kDay ? text : clock;
}

std::string TextTable(const std::vector<Summary>& summaries) {
  constexpr size_t kTitle = 33;
  constexpr size_t kColumn = 16;
  std::string table(kTitle, ' ');
  for (const Summary& summary : summaries) {
    table += Padded(summary.name, kColumn, false);
  }
  table += '\n';
  for (const Row& row : kRows) {
    table += Padded(row.title, kTitle, true);
    for (const Summary& summary : summaries) {
      table += Padded(TextOf(row.unit, row.value(summary)), kColumn, false);
    }
    table += '\n';
  }
  return table;
}

std::string CsvTable(const std::vector<Summary>& summaries) {
  std::string table = "scenario";
  for (const Row& row : kRows) {
    table.append(",").append(row.key);
  }
  table += '\n';
  for (const Summary& summary : summaries) {
    table += summary.name;
    for (const Row& row : kRows) {
      const int64_t value = row.value(summary);
      table += ',';
      if (value != kNever) {
        table += std::to_string(value);
      }
    }
    table += '\n';
  }
  return table;
}

}  // namespace Fleet
