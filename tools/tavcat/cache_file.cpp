#include <cstddef>
#include <string>

#include "gateway/gzip.h"
#include "streams/chunk_stream.h"
#include "tavcat/folder.h"
#include "tavcat/text.h"

namespace Tavcat {

namespace {

constexpr char kLineLayoutBegin = '{';
constexpr size_t kHeadSize = 4;  // the mark and the length
// How much is shown of a text that is not JSON.
constexpr size_t kMaxExcerpt = 200;

constexpr char kBeginMark = static_cast<char>(Tav::kChunkBegin);
constexpr char kEndMark = static_cast<char>(Tav::kChunkEnd);

// "line 2 at offset 43"
std::string Place(const char* what, size_t number, size_t offset) {
  return std::string(what) + ' ' + std::to_string(number) + " at offset " + std::to_string(offset);
}

std::string TextAt(const json_t* object, const char* key) {
  return std::string(Tav::JsonStringView(json_object_get(object, key)));
}

// "Writer 4.2, 3 events", from the record itself.
std::string Summary(const json_t* record) {
  const std::string product = TextAt(record, "pn") + ' ' + TextAt(record, "pv");
  return (product == " " ? "no product named" : product) + ", " +
         Counted(json_array_size(json_object_get(record, "rt")), "event");
}

// "2026-01-01T10:00:00.001+01:00  01234567  open  {"file":"letter.qwd"}"
std::string EventText(const json_t* event) {
  if (!json_is_object(event)) {
    return JsonText(event);
  }
  const std::string marker = TextAt(event, "g");
  std::string text = TextAt(event, "t") + "  " + TextAt(event, "s").substr(0, 8) + "  " +
                     (marker.empty() ? TextAt(event, "m") : marker);
  for (const char* key : {"v", "se"}) {
    if (const json_t* values = json_object_get(event, key)) {
      text += "  " + JsonText(values);
    }
  }
  return text;
}

void ShowEvents(const json_t* record, Report& report) {
  const Tav::JsonPtr head(json_copy(const_cast<json_t*>(record)));  // copies, shallowly
  json_object_del(head.Get(), "rt");
  report.Line(2, JsonText(head.Get()));
  const json_t* const events = json_object_get(record, "rt");
  size_t index = 0;
  const json_t* event = nullptr;
  json_array_foreach(events, index, event) {
    report.Line(3, EventText(event));
  }
}

// `heading` tells where the text is in the file.
void ShowRecord(const std::string& heading, std::string_view text, Report& report) {
  std::string error;
  const Tav::JsonPtr record = ParseJson(text, error);
  if (!record) {
    report.Line(1, heading);
    report.Damage(
        2, "the text is not JSON (" + error + "): " + std::string(text.substr(0, kMaxExcerpt)));
    return;
  }
  report.CountRecord();
  report.Line(1, heading + "; " + Summary(record.Get()));
  if (report.GetForm() == Form::Events && json_is_object(record.Get())) {
    ShowEvents(record.Get(), report);
  } else {
    report.RecordText(text);
  }
}

void ShowPayload(const std::string& place, std::string_view payload, Report& report) {
  const Gateway::Expansion expanded = Gateway::ExpandGzip(payload, Tav::kMaxTextSize);
  const std::string heading = place + ": " + std::to_string(payload.size()) + " bytes, expanded " +
                              std::to_string(expanded.text.size());
  if (expanded.error.empty()) {
    ShowRecord(heading, expanded.text, report);
    return;
  }
  report.Line(1, heading);
  report.Damage(2, "the payload is not a complete gzip member: " + expanded.error);
}

// What is wrong with the framing of the chunk at the start of `rest`; empty if nothing is, or if
// only the end mark is missing at the end of the file. `payload` is then its content.
std::string FramingFault(std::string_view rest, std::string_view& payload) {
  if (rest[0] != kBeginMark) {
    return "begins with " + Hex(rest[0]) + " instead of the mark 0x1C";
  }
  if (rest.size() < kHeadSize) {
    return "torn: the file ends within the length";
  }
  const auto byte = [rest](size_t index) {
    return size_t{static_cast<unsigned char>(rest[index])};
  };
  const size_t length = byte(1) + (byte(2) << 8) + (byte(3) << 16);
  payload = rest.substr(kHeadSize, length);
  if (payload.size() < length) {
    return "torn: the file ends within the payload, of which " + std::to_string(payload.size()) +
           " of " + std::to_string(length) + " bytes are there";
  }
  if (rest.size() == kHeadSize + length) {
    return "";
  }
  const char end = rest[kHeadSize + length];
  return end == kEndMark ? "" : "ends with " + Hex(end) + " instead of the mark 0x1D";
}

void ShowChunks(std::string_view bytes, Report& report) {
  size_t offset = 0;
  for (size_t number = 1; offset < bytes.size(); ++number) {
    const std::string_view rest = bytes.substr(offset);
    const std::string place = Place("chunk", number, offset);
    std::string_view payload;
    std::string fault = FramingFault(rest, payload);
    if (!fault.empty()) {
      fault += "; nothing from here on can be read, " + Counted(rest.size(), "byte");
      report.Damage(1, std::string(place).append(" ").append(fault));
      return;
    }
    ShowPayload(place, payload, report);
    if (rest.size() == kHeadSize + payload.size()) {
      report.Damage(2, "torn: the file ends before the end mark; the record is whole");
    }
    offset += payload.size() + Tav::kChunkOverhead;
  }
}

void ShowLines(std::string_view bytes, Report& report) {
  report.Line(1, "older layout, a record in each line");
  size_t offset = 0;
  for (size_t number = 1; offset < bytes.size(); ++number) {
    const size_t end = bytes.find('\n', offset);
    std::string_view line = bytes.substr(offset, end == bytes.npos ? end : end - offset);
    const size_t next = end == bytes.npos ? bytes.size() : end + 1;
    if (end != bytes.npos && line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    if (!line.empty()) {
      ShowRecord(Place("line", number, offset) + ": " + Counted(line.size(), "byte"), line, report);
    }
    offset = next;
  }
}

}  // namespace

void ShowCacheFile(std::string_view bytes, Report& report) {
  if (bytes.empty()) {
    report.Line(1, "empty, no records");
  } else if (bytes.front() == kBeginMark) {
    ShowChunks(bytes, report);
  } else if (bytes.front() == kLineLayoutBegin) {
    ShowLines(bytes, report);
  } else {
    report.Damage(1, "unrecognised: the first byte is " + Hex(bytes.front()) +
                         ", neither the mark 0x1C of a chunk nor '{'; the file cannot be read");
  }
}

}  // namespace Tavcat
