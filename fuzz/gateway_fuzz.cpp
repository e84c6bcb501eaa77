// What the gateway reads: uploaded records, faults, requests of its page, settings files. The first
// byte selects which of them the rest is.
#include <optional>
#include <vector>

#include "config/settings.h"
#include "fuzz.h"
#include "gateway/api.h"
#include "gateway/fault_plan.h"
#include "gateway/http/message.h"
#include "gateway/record_reader.h"
#include "gateway/settings_check.h"
#include "gateway/store/questions.h"
#include "gateway/store/rows.h"

namespace {

using Tav::Fuzz::Input;
using Tav::Fuzz::IsJson;
using Tav::Fuzz::Require;

constexpr size_t kMaxText = size_t{1} << 20;

Gateway::Record ReadBody(Input& input) {
  Gateway::IncomingRequest request;
  request.target = std::string(input.Text());
  if (input.Flag()) {
    request.headers["content-encoding"] = "gzip";
  }
  request.headers["content-type"] = input.Text();
  request.body = input.Rest();
  return Gateway::ReadRecord(std::move(request), kMaxText, true);
}

void ReadRecord(Input& input) {
  Gateway::Record record = ReadBody(input);
  Require(record.text.size() <= kMaxText, "expansion is bounded");
  Require(!record.isJson || IsJson(record.text), "an accepted record is JSON");
  Require(record.isJson || !record.problems.empty(), "a refused record has a problem");
  for (const Gateway::EventEntry& event : record.events) {
    Require(event.span.offset + event.span.length <= record.text.size() &&
                IsJson(record.text.substr(event.span.offset, event.span.length)),
            "the parts of a record are JSON");
  }
  if (record.isJson) {
    const std::string indented = Gateway::IndentJson(record.text);
    Require(IsJson(indented), "an indented record is the same document");
  }
  Require(IsJson(Gateway::LiveRecordJson(record)), "the live list is JSON");
  Gateway::ReceivedRecords records;
  records.Add(std::move(record));
  Gateway::FaultPlan faults;
  Gateway::Api api(records, faults, [] {});
  for (const char* const path : {"/api/records", "/api/records/1", "/api/events", "/api/state"}) {
    const Gateway::ApiAnswer answer = api.Handle({"GET", path, {}, ""});
    Require(IsJson(answer.body), "every answer is JSON");
  }
}

void ReadFaults(std::string_view text) {
  std::string error;
  const Gateway::JsonPtr value = Gateway::ParseJson(text, error);
  if (!value) {
    Require(!error.empty(), "a refusal has a reason");
    return;
  }
  const std::optional<std::vector<Gateway::Fault>> faults =
      Gateway::ParseFaults(value.get(), error);
  if (!faults) {
    Require(!error.empty(), "a refusal has a reason");
    return;
  }
  Gateway::FaultPlan plan;
  plan.Append(*faults);
  const std::string described = plan.Describe();
  const Gateway::JsonPtr again = Gateway::ParseJson(described, error);
  Gateway::FaultPlan same;
  same.Append(Gateway::ParseFaults(again.get(), error).value());
  Require(same.Describe() == described, "the plan reads what it describes");
  Require(plan.Take().has_value() == !faults->empty(), "every fault applies");
}

void AskApi(Input& input) {
  constexpr const char* kMethods[] = {"GET", "POST", "DELETE", "PUT"};
  constexpr const char* kPaths[] = {"/api/records", "/api/ask",      "/api/faults",
                                    "/api/events",  "/api/recent",   "/api/settings",
                                    "/api/reset",   "/api/records/1"};
  Gateway::HttpRequest request;
  const std::string method = kMethods[input.Below(4)];
  const std::string path =
      input.Flag() ? kPaths[input.Below(std::size(kPaths))] : "/api/" + std::string(input.Text());
  Gateway::SetTarget(request, path + "?" + std::string(input.Text()));
  Gateway::ReceivedRecords records;
  Gateway::FaultPlan faults;
  Gateway::Api api(records, faults, [] {});
  const Gateway::ApiAnswer answer =
      api.Handle({method, request.path, request.parameters, std::string(input.Text())});
  Require(answer.status >= 200 && answer.status < 600, "a status is one of HTTP's");
  Require(answer.body.empty() || IsJson(answer.body), "every answer is JSON");
}

void AskStore(Input& input) {
  constexpr const char* kQuestions[] = {
      "products",  "events_over_time", "names",        "properties", "values", "sessions",
      "session",   "before_error",     "environments", "histogram",  "errors", "daily",
      "retention", "counters",         "record"};
  const std::string question =
      input.Byte() % 8 == 0 ? std::string(input.Text()) : kQuestions[input.Below(15)];
  const auto pairs = Gateway::ParseParameters(input.Rest());
  const Gateway::Parameters parameters(pairs.begin(), pairs.end());
  const Gateway::ParsedQuestion parsed = Gateway::ParseQuestion(question, parameters);
  if (!parsed.query) {
    Require(parsed.refusal.status >= 400 && IsJson(parsed.refusal.json), "a refusal is explained");
    return;
  }
  const Gateway::Query& query = *parsed.query;
  Require(query.limit >= 1 && query.limit <= Gateway::kMaxLimit && query.bins >= 1 &&
              query.bins <= Gateway::kMaxBins && query.step > 0,
          "a question's answer is bounded");
  Require(query.from >= Gateway::kFirstTime && query.to <= Gateway::kEndOfTime, "times have years");
  for (const std::string& text : {query.product, query.property, query.session, query.digest}) {
    Require(text.size() <= Gateway::kMaxParameterBytes && text.find('\0') == std::string::npos,
            "texts are bounded");
  }
}

// What the check finds good, the library takes.
void CheckSettings(std::string_view text) {
  const std::vector<Gateway::SettingsProblem> problems = Gateway::CheckSettings(text);
  Require(IsJson(Gateway::ProblemsJson(problems)), "the problems are JSON");
  const std::optional<Tav::Settings> settings = Tav::ParseSettings(text);
  if (Gateway::HasErrors(problems)) {
    return;
  }
  Require(settings.has_value(), "the library accepts what the check accepts");
  for (const Gateway::NumberSetting& number : Gateway::NumberSettings()) {
    const auto found = settings->values.find(number.name);
    Require(found == settings->values.end() ||
                (found->second.number >= number.min && found->second.number <= number.max),
            "numbers that the check accepts are in their range");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  switch (input.Byte() % 5) {
    case 0:
      ReadRecord(input);
      break;
    case 1:
      ReadFaults(input.Rest());
      break;
    case 2:
      AskApi(input);
      break;
    case 3:
      AskStore(input);
      break;
    case 4:
      CheckSettings(input.Rest());
      break;
  }
  return 0;
}
