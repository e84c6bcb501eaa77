#include "gateway/arrival_log.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "gateway/json_text.h"

namespace Gateway {
namespace {

constexpr std::string_view kGrey = "\x1b[90m";
constexpr std::string_view kRed = "\x1b[31m";
constexpr std::string_view kGreen = "\x1b[32m";
constexpr std::string_view kYellow = "\x1b[33m";
constexpr std::string_view kCyan = "\x1b[36m";
constexpr std::string_view kPlain = "\x1b[0m";

constexpr std::size_t kNameWidth = 18;
constexpr std::size_t kMaxValue = 32;
constexpr std::size_t kMaxProperties = 90;

// Width of the text, assuming one column per code point.
std::size_t Columns(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

// At most `columns` of the text, with an ellipsis if it was cut.
std::string Cut(std::string_view text, std::size_t columns) {
  if (Columns(text) <= columns) {
    return std::string(text);
  }
  std::size_t end = 0;
  for (std::size_t seen = 0; end < text.size(); ++end) {
    seen += Columns(text.substr(end, 1));
    if (seen >= columns) {
      break;
    }
  }
  return std::string(text.substr(0, end)) + "…";
}

std::string Pad(std::string text, std::size_t columns) {
  const std::size_t used = Columns(text);
  return text.append(used < columns ? columns - used : 0, ' ');
}

// Replaces control characters by dots, so that what clients send cannot control the terminal.
std::string MaskControls(std::string_view text) {
  std::string out(text);
  for (std::size_t i = 0; i < out.size(); ++i) {
    const auto byte = static_cast<unsigned char>(out[i]);
    if (byte < 0x20 || byte == 0x7F) {
      out[i] = '.';
    }
    // U+0080 to U+009F are control characters as well.
    if (byte == 0xC2 && i + 1 < out.size() && static_cast<unsigned char>(out[i + 1]) < 0xA0) {
      out.replace(i, 2, ".");
    }
  }
  return out;
}

std::string LocalClock(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(
      time - std::chrono::system_clock::from_time_t(seconds));
  char text[32] = {};
  // localtime's result is shared; the log's lock protects it.
  std::strftime(text, sizeof text, "%H:%M:%S", std::localtime(&seconds));
  char all[48];
  std::snprintf(all, sizeof all, "%s.%03d", text, static_cast<int>(milliseconds.count()));
  return all;
}

std::string SizeText(std::size_t bytes) {
  char text[32];
  if (bytes < 1000) {
    std::snprintf(text, sizeof text, "%zu bytes", bytes);
  } else {
    std::snprintf(text, sizeof text, "%.1f KB", static_cast<double>(bytes) / 1000.0);
  }
  return text;
}

std::string Counted(std::size_t count, const char* noun) {
  return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

// "[Paste, Copy]", or the number of items if they are not strings.
std::string ListText(const json_t* list) {
  std::string text;
  for (std::size_t i = 0; i < json_array_size(list); ++i) {
    const json_t* item = json_array_get(list, i);
    if (!json_is_string(item)) {
      return '[' + Counted(json_array_size(list), "item") + ']';
    }
    text.append(i > 0 ? ", " : "").append(TextOf(item));
  }
  return '[' + text + ']';
}

std::string ValueText(const json_t* value) {
  if (json_is_string(value)) {
    return Cut(TextOf(value), kMaxValue);
  }
  if (json_is_array(value)) {
    return Cut(ListText(value), kMaxValue);
  }
  if (json_is_real(value)) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", json_real_value(value));
    return text;
  }
  return Cut(DumpJson(value), kMaxValue);
}

// "name=value  name=value", as many as fit, then the number of those that do not.
std::string PropertiesText(const json_t* properties) {
  std::string text;
  std::size_t left = json_object_size(properties);
  bool isFull = false;
  ForEachMember(properties, [&](std::string_view key, const json_t* value) {
    const std::string next = Cut(key, kMaxValue) + '=' + ValueText(value);
    isFull = isFull || (!text.empty() && Columns(text) + Columns(next) >= kMaxProperties);
    if (!isFull) {
      text += (text.empty() ? "" : "  ") + next;
      --left;
    }
  });
  return text + (left > 0 ? "  and " + std::to_string(left) + " more" : "");
}

}  // namespace

void ArrivalLog::ShowRecord(const Record& record) {
  const std::scoped_lock guard(lock_);
  std::string lines = RecordLine(record);
  for (const std::string& problem : record.problems) {
    lines += Coloured(kRed, "    ! " + MaskControls(problem)) + '\n';
  }
  for (const EventEntry& event : record.events) {
    lines += EventLine(std::string_view(record.text).substr(event.span.offset, event.span.length));
  }
  Write(lines);
}

void ArrivalLog::ShowFault(std::string_view target, const Fault& fault) {
  const std::scoped_lock guard(lock_);
  Write(LocalClock(std::chrono::system_clock::now()) + "  " +
        Coloured(kYellow, "fault " + FaultText(fault)) + "  " + MaskControls(target) + '\n');
}

void ArrivalLog::ShowConfigurationRequest(std::string_view target) {
  const std::scoped_lock guard(lock_);
  Write(LocalClock(std::chrono::system_clock::now()) + "  settings requested  " +
        MaskControls(target) + '\n');
}

std::string ArrivalLog::Coloured(std::string_view colour, std::string text) const {
  if (!withColours_) {
    return text;
  }
  return std::string(colour).append(text).append(kPlain);
}

std::string ArrivalLog::RecordLine(const Record& record) const {
  std::string verdict = record.problems.empty() ? Coloured(kGreen, "good") : Coloured(kRed, "BAD");
  if (record.doubleOf > 0) {
    verdict += Coloured(kYellow, "  same as record " + std::to_string(record.doubleOf));
  }
  const std::string product = record.product + ' ' + record.productVersion;
  return LocalClock(record.arrival) + "  record " + std::to_string(record.number) + "  " +
         Coloured(kCyan, MaskControls(product == " " ? "?" : product)) +
         (record.component.empty() ? "" : "  component " + MaskControls(record.component)) + "  " +
         Counted(record.events.size(), "event") + "  " + SizeText(record.compressedSize) +
         " from " + SizeText(record.text.size()) + "  " + verdict + '\n';
}

std::string ArrivalLog::EventLine(std::string_view entry) const {
  std::string error;
  const JsonPtr event = ParseJson(entry, error);
  if (!json_is_object(event.get())) {
    return "    " + MaskControls(Cut(entry, kMaxProperties)) + '\n';
  }
  const auto text = [&](const char* key) {
    return std::string(TextOf(json_object_get(event.get(), key)));
  };
  constexpr std::size_t kClockStart = sizeof "YYYY-MM-DDT" - 1;
  constexpr std::size_t kClockLength = sizeof "hh:mm:ss.mmm" - 1;
  const std::string time = text("t");
  const std::string clock =
      time.size() > kClockStart ? time.substr(kClockStart, kClockLength) : time;
  const std::string name = text("g") + text("m");
  std::string line = "    " + Coloured(kGrey, MaskControls(clock + "  " + text("s").substr(0, 8))) +
                     "  " + MaskControls(Pad(name, kNameWidth));
  if (const json_t* properties = json_object_get(event.get(), "v"); json_is_object(properties)) {
    line += "  " + MaskControls(PropertiesText(properties));
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line + '\n';
}

void ArrivalLog::Write(const std::string& lines) {
  std::fwrite(lines.data(), 1, lines.size(), out_);
  std::fflush(out_);
}

}  // namespace Gateway
