// Usage: demo_ledger [--record] GATEWAY_URL REPORT_FILE...
// Prints the ledger: what the sample host has reported in one run or several, according to its
// report files, and what has arrived at the local gateway. With --record also prints the first
// record. Exit status: 0 the ledger balances, 1 it does not, 2 error.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "command_line/command_line.h"
#include "demo/comparison.h"
#include "demo/presentation.h"
#include "gateway/http/client.h"
#include "gateway/json_text.h"

namespace {

using Gateway::JsonPtr;

constexpr int kExitUnbalanced = 1;
constexpr int kExitFailure = 2;

JsonPtr Parse(const std::string& text, const std::string& origin) {
  std::string error;
  JsonPtr value = Gateway::ParseJson(text, error);
  if (!value) {
    throw std::runtime_error(origin + ": " + error);
  }
  return value;
}

JsonPtr ReadReport(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read the host's report " + path);
  }
  return Parse(std::string(std::istreambuf_iterator<char>(file), {}), path);
}

std::string Fetch(Gateway::HttpClient& gateway, const std::string& path) {
  Gateway::ClientAnswer answer = gateway.Get(path);
  if (answer.status == 0) {
    throw std::runtime_error("the gateway does not answer " + path);
  }
  if (answer.status != 200) {
    throw std::runtime_error("the gateway answers " + path + " with status " +
                             std::to_string(answer.status));
  }
  return std::move(answer.body);
}

bool WantsColours() {
  const char* noColour = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) != 0 && (noColour == nullptr || *noColour == '\0');
}

void ShowHeading(const std::string& text) {
  std::printf("\n== %s\n\n", text.c_str());
}

void ShowFirstRecord(Gateway::HttpClient& gateway) {
  const std::string text = Fetch(gateway, "/api/records/1/text");
  ShowHeading("The first record as it arrived");
  std::fputs(Demo::RecordExcerpt(text).c_str(), stdout);
}

std::string TextMember(const json_t* object, const char* key) {
  return std::string(Gateway::TextOf(json_object_get(object, key)));
}

void ShowHostOutcome(const json_t* report) {
  const json_t* result = json_object_get(report, "commit_result");
  const std::string outcome =
      result == nullptr ? "killed in the middle of its work"
                        : "TavCommit returned " + std::to_string(json_integer_value(result));
  const json_int_t warnings = json_integer_value(json_object_get(report, "warnings"));
  const json_int_t run = json_integer_value(json_object_get(report, "run"));
  std::printf("   %s, run %d, tav.dll %s: %s; warnings and errors logged: %d\n",
              TextMember(report, "product").c_str(), static_cast<int>(run),
              TextMember(report, "library_version").c_str(), outcome.c_str(),
              static_cast<int>(warnings));
}

int RunLedger(const std::string& url, std::span<const std::string> reportFiles, bool withRecord) {
  std::vector<JsonPtr> owned;
  std::vector<const json_t*> reports;
  for (const std::string& file : reportFiles) {
    owned.push_back(ReadReport(file));
    reports.push_back(owned.back().get());
  }
  Gateway::HttpClient gateway(url);
  Demo::WireCounts wire;
  if (!Demo::ReadWireCounts(Parse(Fetch(gateway, "/api/summary"), "summary").get(), wire)) {
    throw std::runtime_error("the gateway's summary lacks a count");
  }
  std::string error;
  const JsonPtr events = Parse(Fetch(gateway, "/api/events"), "events");
  const auto comparison = Demo::Compare(reports, events.get(), error);
  if (!comparison) {
    throw std::runtime_error(error);
  }
  const JsonPtr records = Parse(Fetch(gateway, "/api/records"), "records");
  const Demo::HeaderCheck headers = Demo::CheckHeaders(reports, records.get());
  if (withRecord && wire.records > 0) {
    ShowFirstRecord(gateway);
  }
  ShowHeading("The ledger");
  for (const json_t* report : reports) {
    ShowHostOutcome(report);
  }
  std::fputs("\n", stdout);
  std::fputs(Demo::LedgerText(*comparison, headers, wire, WantsColours()).c_str(), stdout);
  return Demo::Balances(*comparison, headers, wire) ? 0 : kExitUnbalanced;
}

int RunProgram(std::span<char*> arguments) {
  std::string url;
  std::vector<std::string> reportFiles;
  bool withRecord = false;
  CLI::App app("Compares what the sample host has reported with what has arrived at the gateway.");
  CommandLine::SetRules(app);
  app.add_flag("--record", withRecord, "also print the first record")->disable_flag_override();
  app.add_option("GATEWAY_URL", url)->required();
  app.add_option("REPORT_FILE", reportFiles)->required();
  std::string error;
  switch (CommandLine::Parse(app, arguments.subspan(1), error)) {
    case CommandLine::Parsed::WantsHelp:
      std::fputs(app.help("demo_ledger").c_str(), stdout);
      return 0;
    case CommandLine::Parsed::Wrong:
      throw std::runtime_error(error);
    case CommandLine::Parsed::Good:
      break;
  }
  return RunLedger(url, reportFiles, withRecord);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return RunProgram({argv, static_cast<std::size_t>(argc)});
  } catch (const std::exception& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "demo_ledger: %s\n", failure.what());
    return kExitFailure;
  }
}
