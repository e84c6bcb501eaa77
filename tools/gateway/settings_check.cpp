#include "gateway/settings_check.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "gateway/json_text.h"

namespace Gateway {
namespace {

constexpr std::size_t kMaxBytes = 262144;
constexpr std::size_t kMaxInhibited = 10000;
constexpr std::size_t kMaxGatewayLength = 127;
constexpr double kAnyNumber = std::numeric_limits<double>::infinity();

constexpr std::array<std::string_view, 4> kWithoutEffect = {"connect_time", "disable_certificates",
                                                            "max_event_size", "retention_days"};

using Problems = std::vector<SettingsProblem>;

std::string Quoted(std::string_view name) {
  return '"' + std::string(name) + '"';
}

// Whole numbers without a fraction: "30", not "30.000000".
std::string NumberText(double number) {
  const JsonPtr value(std::floor(number) == number && std::abs(number) < 1e15
                          ? json_integer(static_cast<json_int_t>(number))
                          : json_real(number));
  return DumpJson(value.get());
}

// Collects what is wrong with one member and notes its line.
class Finding {
 public:
  Finding(std::string_view text, Problems& problems) : text_(text), problems_(problems) {}

  void At(std::size_t offset) {
    const std::string_view before = text_.substr(0, offset);
    line_ = 1 + static_cast<std::size_t>(std::ranges::count(before, '\n'));
  }
  void Error(std::string text) { problems_.push_back({line_, Severity::Error, std::move(text)}); }
  void Warn(std::string text) { problems_.push_back({line_, Severity::Warning, std::move(text)}); }

 private:
  const std::string_view text_;
  Problems& problems_;
  std::size_t line_ = 1;
};

void CheckNumber(const NumberSetting& setting, const json_t* value, Finding& finding) {
  const std::string name = Quoted(setting.name);
  if (!json_is_number(value)) {
    finding.Error(name + " must be a number" +
                  (json_is_string(value) ? "; a text is read as 0" : "; anything else is ignored"));
    return;
  }
  const double number = json_number_value(value);
  if (number < setting.min || number > setting.max) {
    finding.Error(name + " is out of range: " + NumberText(number) + ". Its range is " +
                  NumberText(setting.min) + " to " + NumberText(setting.max));
  } else if (std::floor(number) != number) {
    finding.Warn(name + " is read as a whole number: " + NumberText(std::trunc(number)));
  }
}

// The host in "HOST:PORT/…"; empty if an address in brackets does not end.
std::string_view HostOf(std::string_view rest) {
  if (rest.starts_with('[')) {
    return rest.substr(0, rest.find(']') + 1);
  }
  return rest.substr(0, rest.find_first_of(":/"));
}

// What is wrong with a gateway's URL that every run would refuse; empty if nothing is.
std::string RefusalOf(std::string_view url) {
  const bool isPlain = url.starts_with("http://");
  if (!isPlain && !url.starts_with("https://")) {
    return "must begin with https:// or http://";
  }
  if (url.size() > kMaxGatewayLength) {
    return "must be shorter than 128 characters";
  }
  const bool isStrange =
      std::ranges::any_of(url, [](unsigned char c) { return c <= ' ' || c >= 0x7F || c == '\\'; });
  if (isStrange) {
    return "must not contain blanks, control characters, backslashes or characters beyond ASCII";
  }
  const std::string_view rest = url.substr(isPlain ? 7 : 8);
  const std::string_view host = HostOf(rest);
  if (rest.substr(0, rest.find('/')).find('@') != std::string_view::npos) {
    return "must not contain a user name or password";
  }
  return host.empty() || host.ends_with('.') ? "needs the name or address of a host" : "";
}

bool IsLoopbackAddress(std::string_view host) {
  return host.starts_with("127.") &&
         std::ranges::all_of(host, [](char c) { return (c >= '0' && c <= '9') || c == '.'; });
}

void CheckGateway(const json_t* value, Finding& finding) {
  if (!json_is_string(value)) {
    finding.Error("\"gateway\" must be a text");
    return;
  }
  const std::string_view url = TextOf(value);
  if (url.empty()) {
    return;
  }
  if (const std::string refusal = RefusalOf(url); !refusal.empty()) {
    finding.Error("\"gateway\" " + refusal);
    return;
  }
  const std::string_view host = HostOf(url.substr(url.find("//") + 2));
  const bool isLocal = host == "localhost" || host == "[::1]" || IsLoopbackAddress(host);
  if (url.starts_with("http://") && !isLocal) {
    finding.Warn(
        "\"gateway\" is an http: URL of another machine: runs that send by https: refuse it");
  }
}

void CheckInhibit(std::string_view text, const json_t* value, Finding& finding) {
  if (json_is_string(value)) {
    return;
  }
  if (!json_is_array(value)) {
    finding.Error("\"inhibit\" must be a text or an array of texts");
    return;
  }
  const std::size_t count = json_array_size(value);
  if (count > kMaxInhibited) {
    finding.Error("\"inhibit\" has " + std::to_string(count) + " names; the first 10000 are used");
  }
  const auto items = FindArrayItems(text, "inhibit");
  for (std::size_t i = 0; items && i < std::min(count, items->size()); ++i) {
    if (!json_is_string(json_array_get(value, i))) {
      finding.At((*items)[i].offset);
      finding.Error("\"inhibit\" holds something that is not a text; it is ignored");
    }
  }
}

void CheckMember(std::string_view text,
                 std::string_view name,
                 const json_t* value,
                 Finding& finding) {
  const auto number = std::ranges::find(NumberSettings(), name, &NumberSetting::name);
  if (number != NumberSettings().end()) {
    CheckNumber(*number, value, finding);
  } else if (name == "gateway") {
    CheckGateway(value, finding);
  } else if (name == "inhibit") {
    CheckInhibit(text, value, finding);
  } else if (std::ranges::find(kWithoutEffect, name) != kWithoutEffect.end()) {
    finding.Warn(Quoted(name) + " has no effect");
  } else {
    finding.Warn(Quoted(name) + " is not a setting; it is stored and never read");
  }
}

}  // namespace

const std::vector<NumberSetting>& NumberSettings() {
  static const std::vector<NumberSetting> settings = {
      {"disabled", -kAnyNumber, kAnyNumber},
      {"flush_time", 0, 86400},
      {"pause_time", 0, 86400},
      {"send_threshold", 1, 1073741824},
      {"max_record_size", 4096, 2097152},
      {"max_memory_size", 64, 67108864},
      {"max_cache_size", 1, 2047},
      {"resend_time", 0, 86400},
      {"resend_delta", 0, 86400},
      {"max_event_per_minute", 0, 1000000},
      {"max_event_per_hour", 0, 10000000},
      {"terminate_time", 2, 30},
  };
  return settings;
}

std::vector<SettingsProblem> CheckSettings(std::string_view text) {
  Problems problems;
  Finding finding(text, problems);
  if (text.size() > kMaxBytes) {
    finding.Error("the file has more than 262144 bytes; the library does not use it");
    return problems;
  }
  json_error_t failure{};
  const JsonPtr root(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &failure));
  if (!root) {
    problems.push_back({static_cast<std::size_t>(std::max(1, failure.line)), Severity::Error,
                        std::string("not JSON: ") + failure.text});
    return problems;
  }
  if (!json_is_object(root.get())) {
    finding.Error("the settings must be one JSON object");
    return problems;
  }
  // jansson keeps the order of members.
  const std::vector<MemberSpan> members = FindMembers(text);
  auto span = members.begin();
  ForEachMember(root.get(), [&](std::string_view name, const json_t* value) {
    if (span != members.end()) {
      finding.At((span++)->key.offset);
    }
    CheckMember(text, name, value, finding);
  });
  return problems;
}

bool HasErrors(const std::vector<SettingsProblem>& problems) {
  return std::ranges::any_of(
      problems, [](const SettingsProblem& one) { return one.severity == Severity::Error; });
}

std::string ProblemsJson(const std::vector<SettingsProblem>& problems) {
  std::string out = "[";
  for (const SettingsProblem& problem : problems) {
    out += out.size() > 1 ? "," : "";
    out += "{\"line\":" + std::to_string(problem.line) + ",\"severity\":\"";
    out += problem.severity == Severity::Error ? "error" : "warning";
    out += "\",\"text\":" + QuoteJson(problem.text) + '}';
  }
  return out += ']';
}

}  // namespace Gateway
