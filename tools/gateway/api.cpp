#include "gateway/api.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>
#include <vector>

#include "gateway/digest.h"
#include "gateway/json_text.h"
#include "gateway/settings_check.h"

namespace Gateway {
namespace {

constexpr std::string_view kPrefix = "/api/";
constexpr std::string_view kRecordPrefix = "/api/records/";
constexpr std::string_view kTextSuffix = "/text";

constexpr std::string_view kAskPrefix = "/api/ask/";

constexpr std::size_t kMaxRecent = 200;
constexpr std::size_t kMaxParameters = 16;  // of a question
constexpr std::size_t kMaxNameBytes = 64;
constexpr std::size_t kMaxValueBytes = 1024;

constexpr const char* kNoSettings =
    "there is no settings file; start the gateway with --config FILE";

ApiAnswer Refuse(int status, const std::string& reason) {
  return {status, "{\"error\":" + QuoteJson(reason) + '}'};
}

std::string Parameter(const ApiRequest& request, const char* name, const std::string& otherwise) {
  const auto found = request.parameters.find(name);
  return found != request.parameters.end() ? found->second : otherwise;
}

template <typename Number>
bool ReadNumber(std::string_view text, Number& number) {
  const char* end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, number);
  return failure == std::errc() && rest == end;
}

// Reads "from" and "limit" of the query; false if one of them is not a number.
bool ReadPage(const ApiRequest& request, Page& page) {
  return ReadNumber(Parameter(request, "from", "0"), page.from) &&
         ReadNumber(Parameter(request, "limit", std::to_string(page.limit)), page.limit);
}

}  // namespace

Api::Api(ReceivedRecords& records,
         FaultPlan& faults,
         std::function<void()> onReset,
         Store* store,
         SettingsFile* settings)
    : records_(records),
      faults_(faults),
      onReset_(std::move(onReset)),
      store_(store),
      settings_(settings) {}

bool Api::Owns(std::string_view path) {
  return path.starts_with(kPrefix);
}

ApiAnswer Api::Handle(const ApiRequest& request) {
  if (request.method == "POST") {
    return Post(request);
  }
  if (request.method == "PUT") {
    return request.path == "/api/settings" ? PutSettings(request)
                                           : Refuse(404, "nothing to PUT at " + request.path);
  }
  return Get(request);
}

ApiAnswer Api::Post(const ApiRequest& request) {
  if (request.path == "/api/reset") {
    return Reset();
  }
  if (request.path == "/api/faults") {
    return AddFaults(request);
  }
  return Refuse(404, "nothing to POST at " + request.path);
}

ApiAnswer Api::Get(const ApiRequest& request) const {
  const std::string& path = request.path;
  if (path == "/api/recent") {
    return Recent(request);
  }
  if (path.starts_with(kAskPrefix)) {
    return Ask(request);
  }
  if (path == "/api/settings") {
    return Settings();
  }
  if (path == "/api/records") {
    return Records(request);
  }
  if (path.starts_with(kRecordPrefix)) {
    return OneRecord(request);
  }
  if (path == "/api/events") {
    return Events(request);
  }
  if (path == "/api/summary") {
    return {200, records_.Summary()};
  }
  if (path == "/api/faults") {
    return {200, faults_.Describe()};
  }
  return Refuse(404, "nothing to GET at " + path);
}

ApiAnswer Api::Records(const ApiRequest& request) const {
  Page page;
  if (!ReadPage(request, page)) {
    return Refuse(400, "\"from\" and \"limit\" must be whole numbers");
  }
  return {200, records_.ListRecords(page, Parameter(request, "body", "1") != "0")};
}

ApiAnswer Api::OneRecord(const ApiRequest& request) const {
  std::string_view rest = std::string_view(request.path).substr(kRecordPrefix.size());
  const bool wantsText = rest.ends_with(kTextSuffix);
  if (wantsText) {
    rest.remove_suffix(kTextSuffix.size());
  }
  std::uint64_t number = 0;
  if (!ReadNumber(rest, number)) {
    return Refuse(404, "no record number in " + request.path);
  }
  std::optional<std::string> found =
      wantsText ? records_.RecordText(number)
                : records_.DescribeRecord(number, Parameter(request, "body", "1") != "0");
  if (!found) {
    return Refuse(404, "there is no record " + std::to_string(number));
  }
  std::string ignored;
  if (Parameter(request, "pretty", "0") != "0" && ParseJson(*found, ignored)) {
    return {200, IndentJson(*found) + '\n'};
  }
  return {200, *std::move(found)};
}

ApiAnswer Api::Events(const ApiRequest& request) const {
  Page page;
  if (!ReadPage(request, page)) {
    return Refuse(400, "\"from\" and \"limit\" must be whole numbers");
  }
  return {200, records_.ListEvents(Parameter(request, "name", ""), page)};
}

ApiAnswer Api::Recent(const ApiRequest& request) const {
  std::uint64_t after = 0;
  std::size_t limit = kMaxRecent;
  if (!ReadNumber(Parameter(request, "after", "0"), after) ||
      !ReadNumber(Parameter(request, "limit", std::to_string(limit)), limit)) {
    return Refuse(400, "\"after\" and \"limit\" must be whole numbers");
  }
  return {200, records_.ListRecent(after, std::min(limit, kMaxRecent))};
}

ApiAnswer Api::Ask(const ApiRequest& request) const {
  if (store_ == nullptr) {
    return {404,
            "{\"error\":\"records are kept in memory only; start the gateway with --store FILE to "
            "ask questions\",\"store\":\"memory\"}"};
  }
  Parameters parameters;
  for (const auto& [name, value] : request.parameters) {
    if (name.size() > kMaxNameBytes || value.size() > kMaxValueBytes) {
      return Refuse(400, "a parameter is too long");
    }
    if (parameters.size() == kMaxParameters || !parameters.emplace(name, value).second) {
      return Refuse(400, "too many parameters, or one is there twice");
    }
  }
  Answer answer = store_->Ask(std::string_view(request.path).substr(kAskPrefix.size()), parameters);
  return {answer.status, std::move(answer.json)};
}

ApiAnswer Api::Settings() const {
  if (settings_ == nullptr) {
    return Refuse(404, kNoSettings);
  }
  const std::optional<std::string> text = settings_->Read();
  if (!text) {
    return Refuse(500, "the settings cannot be read");
  }
  return {200, "{\"file\":" + QuoteJson(settings_->Path()) + ",\"digest\":" +
                   QuoteJson(Sha256Hex(*text)) + ",\"text\":" + QuoteJson(*text) + '}'};
}

ApiAnswer Api::PutSettings(const ApiRequest& request) {
  if (settings_ == nullptr) {
    return Refuse(404, kNoSettings);
  }
  const std::vector<SettingsProblem> problems = CheckSettings(request.body);
  const std::string list = "\"problems\":" + ProblemsJson(problems);
  if (Parameter(request, "check", "0") != "0") {
    return {200, '{' + list + ",\"saved\":false}"};
  }
  if (HasErrors(problems)) {
    return {400, "{\"error\":\"the settings have errors\"," + list + '}'};
  }
  std::string error;
  switch (settings_->Replace(request.body, Parameter(request, "base", ""), error)) {
    case SettingsFile::Outcome::Written:
      break;
    case SettingsFile::Outcome::Changed:
      return Refuse(409, "the file has been changed by somebody else since it was read");
    case SettingsFile::Outcome::Failed:
      return Refuse(500, error);
  }
  return {200,
          '{' + list + ",\"saved\":true,\"digest\":" + QuoteJson(Sha256Hex(request.body)) + '}'};
}

ApiAnswer Api::AddFaults(const ApiRequest& request) {
  std::string error;
  const JsonPtr value = ParseJson(request.body, error);
  if (!value) {
    return Refuse(400, "the faults are not JSON: " + error);
  }
  const auto faults = ParseFaults(value.get(), error);
  if (!faults) {
    return Refuse(400, error);
  }
  if (Parameter(request, "replace", "0") != "0") {
    faults_.Clear();
  }
  faults_.Append(*faults);
  return {200, faults_.Describe()};
}

ApiAnswer Api::Reset() {
  faults_.Clear();
  onReset_();
  records_.Reset();
  return {200, records_.Summary()};
}

}  // namespace Gateway
