// The local gateway's program: options in, exit status out.

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <utility>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "gateway/arrival_log.h"
#include "gateway/options.h"
#include "gateway/server.h"

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

std::atomic<Gateway::Server*> runningServer = nullptr;
static_assert(std::atomic<Gateway::Server*>::is_always_lock_free);

void OnStopSignal(int) {
  if (Gateway::Server* server = runningServer.load()) {
    server->Stop();
  }
}

// Lets the stop signals end a server for as long as it lives.
class SignalScope {
 public:
  explicit SignalScope(Gateway::Server& server) {
    runningServer = &server;
    std::signal(SIGINT, OnStopSignal);
    std::signal(SIGTERM, OnStopSignal);
  }
  SignalScope(const SignalScope&) = delete;
  SignalScope& operator=(const SignalScope&) = delete;
  ~SignalScope() { runningServer = nullptr; }
};

bool WantsColours() {
#ifdef _WIN32
  const bool isTerminal = _isatty(_fileno(stdout)) != 0;
#else
  const bool isTerminal = isatty(fileno(stdout)) != 0;
#endif
  const char* refused = std::getenv("NO_COLOR");
  return isTerminal && (refused == nullptr || *refused == '\0');
}

std::optional<std::string> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// The file that tells others the port, there only while the gateway listens.
class PortFile {
 public:
  // Removes what an earlier run that was killed may have left. An empty path means no file.
  explicit PortFile(std::string path) : path_(std::move(path)) { Remove(); }
  PortFile(const PortFile&) = delete;
  PortFile& operator=(const PortFile&) = delete;
  ~PortFile() { Remove(); }

  // Whoever waits for the file must never see it half written: it appears by being renamed.
  bool Write(int port) {
    if (path_.empty()) {
      return true;
    }
    const std::string draft = path_ + ".new";
    std::error_code failure;
    if (std::ofstream file(draft); !(file << port << '\n' << std::flush)) {
      return false;
    }
    std::filesystem::rename(draft, path_, failure);
    return !failure;
  }

 private:
  void Remove() {
    std::error_code ignored;
    if (!path_.empty()) {
      std::filesystem::remove(path_, ignored);
    }
  }

  const std::string path_;
};

Gateway::ServerOptions MakeServerOptions(const Gateway::Options& options,
                                         Gateway::ArrivalLog& log) {
  Gateway::ServerOptions result;
  result.address = options.address;
  result.port = options.port;
  result.https = options.https;
  if (!options.settingsFile.empty()) {
    // Read anew for each request, so that the file can be edited while the gateway runs.
    result.readSettings = [path = options.settingsFile] { return ReadFile(path); };
  }
  if (options.log) {
    result.events.onRecord = [&log](const Gateway::Record& record) { log.ShowRecord(record); };
    result.events.onFault = [&log](const std::string& target, const Gateway::Fault& fault) {
      log.ShowFault(target, fault);
    };
    result.events.onConfigurationRequest = [&log](const std::string& target) {
      log.ShowConfigurationRequest(target);
    };
  }
  return result;
}

int Fail(int status, const std::string& reason) {
  std::fprintf(stderr, "gateway: %s\n", reason.c_str());
  return status;
}

int RunGateway(const Gateway::Options& options) {
  if (!options.settingsFile.empty() && !ReadFile(options.settingsFile)) {
    return Fail(kExitFailure, "cannot read the settings file " + options.settingsFile);
  }
  PortFile portFile(options.portFile);
  Gateway::ArrivalLog log(stdout, WantsColours());
  Gateway::Server server(MakeServerOptions(options, log));
  std::string error;
  if (!server.Listen(error)) {
    return Fail(kExitFailure, error);
  }
  // Before the port file: whoever sees that may send the signal at once.
  const SignalScope stopsOnSignal(server);
  if (!portFile.Write(server.Port())) {
    return Fail(kExitFailure, "cannot write the port file " + options.portFile);
  }
  std::printf("Gateway listening on %s\n", server.Url().c_str());
  std::fflush(stdout);
  server.Run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::string error;
    const std::span<const char* const> arguments(argv, static_cast<std::size_t>(argc));
    const auto options = Gateway::ParseOptions(arguments.subspan(argc > 0 ? 1 : 0), error);
    if (!options) {
      return Fail(kExitUsage, error + "; see gateway --help");
    }
    if (options->help) {
      std::fputs(Gateway::HelpText(), stdout);
      return 0;
    }
    return RunGateway(*options);
  } catch (const std::exception& failure) {
    return Fail(kExitFailure, failure.what());
  }
}
