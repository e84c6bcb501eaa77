#include "gateway/api.h"

#include <charconv>
#include <optional>
#include <utility>

#include "gateway/json_text.h"

namespace Gateway {
namespace {

constexpr std::string_view kPrefix = "/api/";
constexpr std::string_view kRecordPrefix = "/api/records/";
constexpr std::string_view kTextSuffix = "/text";

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

Api::Api(RecordStore& store, FaultPlan& faults, std::function<void()> onReset)
    : store_(store), faults_(faults), onReset_(std::move(onReset)) {}

bool Api::Owns(std::string_view path) {
  return path.starts_with(kPrefix);
}

ApiAnswer Api::Handle(const ApiRequest& request) {
  const bool isPost = request.method == "POST";
  const std::string& path = request.path;
  if (isPost && path == "/api/reset") {
    return Reset();
  }
  if (isPost && path == "/api/faults") {
    return AddFaults(request);
  }
  if (isPost) {
    return Refuse(404, "nothing to POST at " + path);
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
    return {200, store_.Summary()};
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
  return {200, store_.ListRecords(page, Parameter(request, "body", "1") != "0")};
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
      wantsText ? store_.RecordText(number) : store_.DescribeRecord(number);
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
  return {200, store_.ListEvents(Parameter(request, "name", ""), page)};
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
  faults_.Append(*faults);
  return {200, faults_.Describe()};
}

ApiAnswer Api::Reset() {
  faults_.Clear();
  onReset_();
  store_.Reset();
  return {200, store_.Summary()};
}

}  // namespace Gateway
