#include "gateway/received_records.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <initializer_list>
#include <utility>

namespace Gateway {
namespace {

// How much of a text that is not JSON appears in a listing.
constexpr std::size_t kMaxShownText = std::size_t{64} * 1024;

// The headers that appear in a listing.
constexpr const char* kShownHeaders[] = {
    "user-agent", "x-sdkversion", "content-encoding", "x-compressed", "content-type", "connection",
};

JsonPtr Integer(std::uint64_t value) {
  return JsonPtr(json_integer(static_cast<json_int_t>(value)));
}

void SetMember(const JsonPtr& object, const char* key, JsonPtr value) {
  json_object_set_new(object.get(), key, value.release());
}

std::string UtcText(std::chrono::system_clock::time_point time) {
  using std::chrono::milliseconds;
  const auto sinceEpoch = std::chrono::floor<milliseconds>(time.time_since_epoch());
  const auto day =
      std::chrono::floor<std::chrono::days>(std::chrono::sys_time<milliseconds>(sinceEpoch));
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(std::chrono::sys_time<milliseconds>(sinceEpoch) - day);
  char text[64];
  std::snprintf(
      text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
      static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
  return text;
}

JsonPtr DescribeHeaders(const Headers& headers) {
  JsonPtr shown(json_object());
  for (const char* name : kShownHeaders) {
    if (const auto found = headers.find(name); found != headers.end()) {
      SetMember(shown, name, JsonText(found->second));
    }
  }
  return shown;
}

JsonPtr DescribeProblems(const Record& record) {
  JsonPtr problems(json_array());
  for (const std::string& problem : record.problems) {
    json_array_append_new(problems.get(), JsonText(problem).release());
  }
  return problems;
}

// How many of a record's events the live list carries, and how many bytes of them.
constexpr std::size_t kMaxLiveEvents = 200;
constexpr std::size_t kMaxLiveBytes = std::size_t{64} * 1024;

// The object for one record. Its text is inserted as it arrived, not parsed and printed again.
void AppendRecord(std::string& out, const Record& record, bool withBody) {
  const JsonPtr object(json_object());
  SetMember(object, "number", Integer(record.number));
  SetMember(object, "arrived", JsonText(UtcText(record.arrival)));
  SetMember(object, "path", JsonText(record.target));
  SetMember(object, "headers", DescribeHeaders(record.headers));
  SetMember(object, "compressed", Integer(record.compressedSize));
  SetMember(object, "expanded", Integer(record.text.size()));
  SetMember(object, "sha256", JsonText(record.digest));
  SetMember(object, "events", Integer(record.events.size()));
  SetMember(object, "double_of",
            record.doubleOf > 0 ? Integer(record.doubleOf) : JsonPtr(json_null()));
  SetMember(object, "valid", JsonPtr(json_boolean(record.problems.empty())));
  SetMember(object, "problems", DescribeProblems(record));
  if (withBody && !record.isJson) {
    SetMember(object, "record", JsonPtr(json_null()));
    SetMember(object, "text", JsonText(std::string_view(record.text).substr(0, kMaxShownText)));
  }
  out += DumpJson(object.get());
  if (withBody && record.isJson) {
    out.pop_back();
    out.append(",\"record\":").append(record.text).append("}");
  }
}

// Appends the first events of a record that the bounds have room for. Returns how many.
std::size_t AppendFirstEvents(std::string& out, const Record& record) {
  std::size_t count = 0;
  const std::size_t start = out.size();
  for (const EventEntry& event : record.events) {
    if (count == kMaxLiveEvents) {
      break;
    }
    if (out.size() - start + event.span.length > kMaxLiveBytes) {
      continue;  // a shorter one may follow
    }
    out += count++ > 0 ? "," : "";
    out.append(record.text, event.span.offset, event.span.length);
  }
  return count;
}

// At most 1 KB of UTF-8, in whole characters.
std::string Shortened(const std::string& text) {
  constexpr std::size_t kMaxBytes = 1024;
  std::size_t size = std::min(text.size(), kMaxBytes);
  while (size < text.size() && size > 0 &&
         (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80) {
    --size;
  }
  return text.substr(0, size);
}

bool IsInPage(std::size_t index, const Page& page) {
  return index >= page.from && index - page.from < page.limit;
}

}  // namespace

std::string LiveRecordJson(const Record& record) {
  std::string out;
  AppendRecord(out, record, false);
  out.pop_back();
  out.append(",\"product\":").append(QuoteJson(Shortened(record.product)));
  out.append(",\"version\":").append(QuoteJson(Shortened(record.productVersion)));
  out.append(",\"component\":").append(QuoteJson(Shortened(record.component))).append(",\"rt\":[");
  const std::size_t listed = AppendFirstEvents(out, record);
  out.append("],\"left_out\":").append(std::to_string(record.events.size() - listed)).append("}");
  // In valid JSON a line end is white space. Without them the text is one line of an event stream.
  std::ranges::replace_if(out, [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return out;
}

void ReceivedRecords::Add(Record record) {
  if (record.arrival == std::chrono::system_clock::time_point()) {
    record.arrival = std::chrono::system_clock::now();
  }
  const std::scoped_lock arriving(arrival_);
  const std::shared_ptr<const Record> kept = Keep(std::move(record));
  if (observer_) {
    observer_(*kept);
  }
}

std::shared_ptr<const Record> ReceivedRecords::Keep(Record record) {
  const std::scoped_lock guard(lock_);
  record.number = ++totals_.records;
  const auto [first, isNew] = firstByDigest_.try_emplace(record.digest, record.number);
  record.doubleOf = isNew ? 0 : first->second;
  totals_.badRecords += record.problems.empty() ? 0 : 1;
  totals_.doubledRecords += isNew ? 0 : 1;
  totals_.events += record.events.size();
  totals_.bytesCompressed += record.compressedSize;
  totals_.bytesExpanded += record.text.size();
  for (const std::string& session : record.sessions) {
    ++sessions_[session];
  }
  const auto kept = records_.emplace_back(std::make_shared<const Record>(std::move(record)));
  bytes_ += MemoryOf(*kept);
  while (records_.size() > maxRecords_ || (bytes_ > maxBytes_ && records_.size() > 1)) {
    Forget(*records_.front());
    records_.pop_front();
  }
  return kept;
}

void ReceivedRecords::Forget(const Record& record) {
  bytes_ -= MemoryOf(record);
  if (record.doubleOf == 0) {
    firstByDigest_.erase(record.digest);
  }
  for (const std::string& session : record.sessions) {
    if (const auto found = sessions_.find(session); --found->second == 0) {
      sessions_.erase(found);
    }
  }
}

std::shared_ptr<const Record> ReceivedRecords::Find(std::uint64_t number) const {
  const std::scoped_lock guard(lock_);
  const std::uint64_t lost = totals_.records - records_.size();
  return number > lost && number <= totals_.records ? records_[number - lost - 1] : nullptr;
}

void ReceivedRecords::CountRequest(RequestKind kind) {
  const std::scoped_lock guard(lock_);
  ++totals_.requests;
  totals_.configurationRequests += kind == RequestKind::Configuration ? 1 : 0;
}

void ReceivedRecords::CountRefused() {
  const std::scoped_lock guard(lock_);
  ++totals_.refused;
}

void ReceivedRecords::CountConnection() {
  const std::scoped_lock guard(lock_);
  ++totals_.connections;
}

void ReceivedRecords::Reset() {
  const std::scoped_lock guard(lock_);
  records_.clear();
  bytes_ = 0;
  firstByDigest_.clear();
  sessions_.clear();
  totals_ = {};
}

ReceivedRecords::RecordList ReceivedRecords::Snapshot() const {
  const std::scoped_lock guard(lock_);
  return records_;
}

std::string ReceivedRecords::ListRecords(const Page& page, bool withBody) const {
  std::string out = "[";
  for (const auto& record : Snapshot()) {
    if (IsInPage(record->number - 1, page)) {
      out += out.size() > 1 ? "," : "";
      AppendRecord(out, *record, withBody);
    }
  }
  return out += ']';
}

std::string ReceivedRecords::ListRecent(std::uint64_t after, std::size_t limit) const {
  const RecordList records = Snapshot();
  const std::uint64_t newest = records.empty() ? 0 : records.back()->number;
  const auto isKnown = [after](const auto& record) { return record->number <= after; };
  auto first = std::ranges::partition_point(records, isKnown);
  first += std::max<std::ptrdiff_t>(0, records.end() - first - static_cast<std::ptrdiff_t>(limit));
  std::string out = "{\"newest\":" + std::to_string(newest) + ",\"records\":[";
  for (auto record = first; record != records.end(); ++record) {
    out += record == first ? "" : ",";
    out += LiveRecordJson(**record);
  }
  return out += "]}";
}

std::optional<std::string> ReceivedRecords::DescribeRecord(std::uint64_t number,
                                                           bool withBody) const {
  const auto record = Find(number);
  if (!record) {
    return std::nullopt;
  }
  std::string out;
  AppendRecord(out, *record, withBody);
  return out;
}

std::optional<std::string> ReceivedRecords::RecordText(std::uint64_t number) const {
  const auto record = Find(number);
  return record ? std::optional(record->text) : std::nullopt;
}

std::string ReceivedRecords::ListEvents(std::string_view name, const Page& page) const {
  std::string out = "[";
  std::size_t index = 0;
  for (const auto& record : Snapshot()) {
    const std::string head = "{\"record\":" + std::to_string(record->number) +
                             ",\"component\":" + QuoteJson(record->component) + ",\"event\":";
    for (const EventEntry& event : record->events) {
      if ((name.empty() || event.name == name) && IsInPage(index++, page)) {
        out += out.size() > 1 ? "," : "";
        out.append(head).append(record->text, event.span.offset, event.span.length).append("}");
      }
    }
  }
  return out += ']';
}

std::string ReceivedRecords::Summary() const {
  const std::scoped_lock guard(lock_);
  const JsonPtr object(json_object());
  const std::initializer_list<std::pair<const char*, std::uint64_t>> counts = {
      {"records", totals_.records},
      {"bad_records", totals_.badRecords},
      {"doubled_records", totals_.doubledRecords},
      {"refused", totals_.refused},
      {"events", totals_.events},
      {"sessions", sessions_.size()},
      {"bytes_compressed", totals_.bytesCompressed},
      {"bytes_expanded", totals_.bytesExpanded},
      {"requests", totals_.requests},
      {"configuration_requests", totals_.configurationRequests},
      {"connections", totals_.connections},
  };
  for (const auto& [name, count] : counts) {
    SetMember(object, name, Integer(count));
  }
  return DumpJson(object.get());
}

}  // namespace Gateway
