// The local gateway's program.

#include <unistd.h>

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

// SIGINT and SIGTERM stop the server while this object exists.
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
  const char* noColour = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) != 0 && (noColour == nullptr || *noColour == '\0');
}

std::optional<std::string> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// A file with the port number, which exists only while the gateway listens.
class PortFile {
 public:
  // Removes the file of an earlier run that was killed. An empty path means no file.
  explicit PortFile(std::string path) : path_(std::move(path)) { Remove(); }
  PortFile(const PortFile&) = delete;
  PortFile& operator=(const PortFile&) = delete;
  ~PortFile() { Remove(); }

  // Writes another file and renames it, so that nobody reads half a file.
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
  result.certificateFile = options.certificateFile;
  result.keyFile = options.keyFile;
  if (!options.settingsFile.empty()) {
    // Read for each request, so that the file can be edited while the gateway runs.
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
  // Before the port file: a script may send the signal as soon as that exists.
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
