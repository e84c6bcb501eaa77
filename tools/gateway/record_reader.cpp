#include "gateway/record_reader.h"

#include <algorithm>
#include <utility>

#include "gateway/digest.h"
#include "gateway/gzip.h"
#include "gateway/store/rows.h"
#include "gateway/value_checks.h"

namespace Gateway {
namespace {

std::string ExpandBody(std::string body,
                       const Headers& headers,
                       std::size_t maxExpandedBytes,
                       Problems& problems) {
  const bool isDeclared = HeaderValue(headers, "content-encoding") == "gzip";
  if (!isDeclared && !LooksLikeGzip(body)) {
    return body;
  }
  if (!isDeclared) {
    problems.Add("the body is gzip and no Content-Encoding says so");
  }
  Expansion expansion = ExpandGzip(body, maxExpandedBytes);
  if (!expansion.error.empty()) {
    problems.Add(std::move(expansion.error));
  }
  return std::move(expansion.text);
}

void CheckSameVersion(const json_t* root, const Headers& headers, Problems& problems) {
  const std::string_view inHeader = HeaderValue(headers, "x-sdkversion");
  const std::string_view inRecord = TextOf(json_object_get(root, "sv"));
  if (!inHeader.empty() && !inRecord.empty() && inHeader != inRecord) {
    problems.Add("\"sv\" is " + Quoted(inRecord) + " and X-SDKVersion is " + Quoted(inHeader));
  }
}

// Whether the text may have more than kMaxValues values. All but the first follow a comma or an
// opening bracket; those in strings count too.
bool HasTooManyValues(std::string_view text) {
  const auto count =
      std::ranges::count_if(text, [](char c) { return c == ',' || c == '[' || c == '{'; });
  return static_cast<std::size_t>(count) > kMaxValues;
}

void ListEvents(const json_t* root, Record& record, Problems& problems) {
  const json_t* list = json_object_get(root, "rt");
  if (!json_is_array(list)) {
    return;
  }
  const auto spans = FindArrayItems(record.text, "rt");
  if (!spans || spans->size() != json_array_size(list)) {
    problems.Add("\"rt\" is written with escapes; its events are not listed");
    return;
  }
  if (spans->size() > kMaxEvents) {
    problems.Add("\"rt\" has " + std::to_string(spans->size()) + " entries; the first " +
                 std::to_string(kMaxEvents) + " are read");
  }
  for (std::size_t i = 0; i < std::min(spans->size(), kMaxEvents); ++i) {
    const json_t* event = json_array_get(list, i);
    const json_t* name = json_object_get(event, "m");
    name = name != nullptr ? name : json_object_get(event, "g");
    record.events.push_back({(*spans)[i], std::string(TextOf(name))});
    const std::string_view session = TextOf(json_object_get(event, "s"));
    if (IsSessionId(session) && (record.sessions.empty() || record.sessions.back() != session)) {
      record.sessions.emplace_back(session);
    }
  }
  std::ranges::sort(record.sessions);
  const auto [first, last] = std::ranges::unique(record.sessions);
  record.sessions.erase(first, last);
}

// Returns the parsed text; null if it is not JSON.
JsonPtr ReadText(Record& record, Problems& problems) {
  if (HasTooManyValues(record.text)) {
    problems.Add("the text has too many values to be parsed");
    return nullptr;
  }
  std::string error;
  JsonPtr root = ParseJson(record.text, error);
  if (!root) {
    problems.Add(record.text.empty() ? "the body is empty" : "the text is not JSON: " + error);
    return root;
  }
  record.isJson = json_is_object(root.get());
  if (record.isJson) {
    record.product = TextOf(json_object_get(root.get(), "pn"));
    record.productVersion = TextOf(json_object_get(root.get(), "pv"));
    record.component = TextOf(json_object_get(root.get(), "can"));
    ListEvents(root.get(), record, problems);
  }
  if (const std::size_t at = FindLooseSpace(record.text); at != std::string_view::npos) {
    problems.Add("the text is not compact: white space at byte " + std::to_string(at));
  }
  CheckSameVersion(root.get(), record.headers, problems);
  CheckRecord(root.get(), problems);
  return root;
}

}  // namespace

Record ReadRecord(IncomingRequest request, std::size_t maxExpandedBytes, bool withRows) {
  Record record;
  Problems problems;
  record.target = std::move(request.target);
  record.headers = std::move(request.headers);
  record.compressedSize = request.body.size();
  CheckRequestHeaders(record.headers, problems);
  record.text = ExpandBody(std::move(request.body), record.headers, maxExpandedBytes, problems);
  record.digest = Sha256Hex(record.text);
  const JsonPtr root = ReadText(record, problems);
  record.problems = problems.List();
  record.rows = withRows ? MakeRows(root.get(), record) : nullptr;
  return record;
}

std::size_t MemoryOf(const Record& record) {
  std::size_t size = sizeof record + record.text.size() + record.target.size() +
                     record.product.size() + record.productVersion.size() +
                     record.component.size() + record.events.size() * sizeof(EventEntry);
  for (const EventEntry& event : record.events) {
    size += event.name.size();
  }
  for (const auto& header : record.headers) {
    size += sizeof header + header.first.size() + header.second.size();
  }
  for (const auto* texts : {&record.problems, &record.sessions}) {
    for (const std::string& text : *texts) {
      size += sizeof(std::string) + text.size();
    }
  }
  return size;
}

}  // namespace Gateway
