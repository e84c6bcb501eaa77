#include "gateway/options.h"

#include <chrono>
#include <utility>

#include "command_line/command_line.h"
#include "gateway/certificate.h"

namespace Gateway {
namespace {

constexpr int kMaxPort = 65535;
constexpr int kMaxDays = 36'500;

void AddText(CLI::App& app, const std::string& names, std::string& text, const char* description) {
  app.add_option(names, text, description)->check(CommandLine::NotEmpty())->type_name("TEXT");
}

void AddFlag(CLI::App& app, const std::string& name, bool& flag, const char* description) {
  app.add_flag(name, flag, description)->disable_flag_override();
}

void AddSize(CLI::App& app, const std::string& name, std::size_t& size, const char* description) {
  app.add_option(name, size, description)
      ->transform(CLI::AsSizeValue(false).description(""))
      ->check(CLI::Validator(CLI::PositiveNumber).description(""))
      ->type_name("SIZE");
}

void AddSeconds(CLI::App& app,
                const std::string& name,
                HttpLimits::Duration& time,
                const char* description) {
  app.add_option_function<double>(
         name,
         [&time](double seconds) {
           time = std::chrono::duration_cast<HttpLimits::Duration>(
               std::chrono::duration<double>(seconds));
         },
         description)
      ->check(CLI::Range(0.001, 86'400.0).description(""))
      ->type_name("SECONDS");
}

void AddListening(CLI::App& app, Options& options) {
  app.add_option("--port", options.port, "listen on this port; 0 takes any free one (8080)")
      ->check(CLI::Range(0, kMaxPort).description(""))
      ->type_name("N");
  AddText(app, "--port-file", options.portFile, "write the port to this file once listening");
  AddText(app, "--address", options.address, "listen on this address (127.0.0.1)");
  AddFlag(app, "--https", options.https,
          "speak HTTPS with a self-signed certificate made at start");
  AddText(app, "--cert,--certificate", options.certificateFile,
          "with --https: use this certificate (PEM)");
  AddText(app, "--key", options.keyFile, "with --cert: its private key (PEM)");
}

void AddPage(CLI::App& app, Options& options) {
  app.add_option("--page-port", options.pagePort,
                 "a port of their own for page and API; they have one anyway when --address is "
                 "not loopback (8081)")
      ->check(CLI::Range(0, kMaxPort).description(""))
      ->type_name("N");
  AddText(app, "--page-port-file", options.pagePortFile, "write the page's port to this file");
  app.add_option("--page-address", options.pageAddress,
                 "address of page and API (127.0.0.1); beyond loopback only with a token")
      ->check(CommandLine::NotEmpty())
      ->type_name("TEXT");
  AddText(app, "--token-file", options.tokenFile,
          "page and API need the token that is the first line of this file");
}

void AddRecords(CLI::App& app, Options& options) {
  AddText(app, "--store", options.store,
          "keep records in this SQLite file, in ClickHouse at http://HOST:PORT/DATABASE, or until "
          "the end in memory if this is :memory: (default: the listings only)");
  app.add_option("--retention", options.retentionDays, "days to keep records; 0 for ever (0)")
      ->check(CLI::Range(0, kMaxDays).description(""))
      ->type_name("DAYS");
  AddText(app, "--config", options.settingsFile,
          "answer the configuration request with this file ({})");
  AddFlag(app, "--log", options.log, "show each record and event as it arrives");
}

void AddLimits(CLI::App& app, Options& options) {
  AddSize(app, "--max-body", options.limits.maxBodyBytes, "bytes of a body (64 MB)");
  AddSize(app, "--max-expanded", options.maxExpandedBytes, "bytes of an expanded body (32 MB)");
  AddSize(app, "--max-buffered", options.limits.maxBufferedBytes,
          "bytes of all bodies that are being received (1 GB)");
  app.add_option("--max-connections", options.limits.maxConnections, "open connections (10000)")
      ->check(CLI::Validator(CLI::PositiveNumber).description(""))
      ->type_name("N");
  AddSize(app, "--min-rate", options.limits.minRate,
          "bytes a second that a client must send and read (1 KB)");
  AddSeconds(app, "--head-time", options.limits.headTime, "for the headers of a request (20)");
  AddSeconds(app, "--transfer-time", options.limits.transferTime,
             "for a body or an answer, besides its size at the minimum rate (30)");
  AddSeconds(app, "--idle-time", options.limits.idleTime, "between requests (300)");
}

void AddForget(CLI::App& app, Options& options) {
  CLI::App* forget =
      app.add_subcommand("forget", "delete what a store has of an endpoint or a user, and end");
  forget->add_option("--store", options.store, "the store, as above")
      ->check(CommandLine::NotEmpty())
      ->type_name("TEXT")
      ->required();
  forget->add_option("DIGEST", options.forget, "the endpoint's or the user's digest")
      ->check(CommandLine::NotEmpty())
      ->required();
}

// Borrows the options for its lifetime.
void Describe(CLI::App& app, Options& options) {
  app.description(
      "Receives usage records, checks, keeps and shows them. Stops on Ctrl+C or SIGTERM.");
  CommandLine::SetRules(app);
  AddListening(app, options);
  AddRecords(app, options);
  AddPage(app, options);
  AddLimits(app, options);
  AddForget(app, options);
}

// Returns what is wrong with the options as a whole.
std::string Check(const Options& options) {
  if (options.certificateFile.empty() != options.keyFile.empty()) {
    return "--cert and --key need each other";
  }
  if (!options.https && !options.keyFile.empty()) {
    return "--cert needs --https";
  }
  if (options.https && !HasTls()) {
    return "--https: this gateway is built without TLS; a proxy in front of it can speak HTTPS";
  }
  return options.retentionDays > 0 && options.store.empty() ? "--retention needs --store" : "";
}

}  // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error) {
  Options options;
  CLI::App app;
  Describe(app, options);
  const CommandLine::Parsed parsed = CommandLine::Parse(app, arguments, error);
  options.help = parsed == CommandLine::Parsed::WantsHelp;
  if (parsed == CommandLine::Parsed::Good) {
    error = Check(options);
  }
  const bool isGood = options.help || (parsed == CommandLine::Parsed::Good && error.empty());
  return isGood ? std::optional(std::move(options)) : std::nullopt;
}

std::string HelpText() {
  Options options;
  CLI::App app;
  Describe(app, options);
  return app.help("gateway");
}

}  // namespace Gateway
