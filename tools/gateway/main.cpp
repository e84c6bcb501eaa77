// The local gateway's program.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "command_line/program.h"
#include "gateway/arrival_log.h"
#include "gateway/file_path.h"
#include "gateway/options.h"
#include "gateway/process.h"
#include "gateway/server.h"
#include "gateway/store/forget.h"
#include "gateway/store/open_store.h"

namespace {

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

bool WantsColours() {
  const char* noColour = std::getenv("NO_COLOR");
  return Gateway::HasColourTerminal() && (noColour == nullptr || *noColour == '\0');
}

std::optional<std::string> ReadFile(const std::string& path) {
  std::ifstream file(Gateway::FilePath(path), std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// A file with the port number, which exists only while the gateway listens.
class PortFile {
 public:
  // Removes the file of an earlier run that was killed. An empty path means no file.
  explicit PortFile(const std::string& path) : path_(Gateway::FilePath(path)) { Remove(); }
  PortFile(const PortFile&) = delete;
  PortFile& operator=(const PortFile&) = delete;
  ~PortFile() { Remove(); }

  // Writes another file and renames it, so that nobody reads half a file.
  bool Write(int port) {
    if (path_.empty()) {
      return true;
    }
    std::filesystem::path draft = path_;
    draft += ".new";
    std::error_code failure;
    if (std::ofstream file(draft, std::ios::binary); !(file << port << '\n' << std::flush)) {
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

  const std::filesystem::path path_;
};

// Says at most every ten seconds that the store fails.
class StoreComplaints {
 public:
  void Add(const std::string& reason) {
    using Clock = std::chrono::steady_clock;
    const std::scoped_lock guard(lock_);
    ++unsaid_;
    if (said_ && Clock::now() - *said_ < std::chrono::seconds(10)) {
      return;
    }
    said_ = Clock::now();
    std::fprintf(stderr, "gateway: %d record(s) not stored: %s\n", std::exchange(unsaid_, 0),
                 reason.c_str());
  }

 private:
  std::mutex lock_;
  std::optional<std::chrono::steady_clock::time_point> said_;
  int unsaid_ = 0;
};

struct Logs {
  Gateway::ArrivalLog arrivals{stdout, WantsColours()};
  StoreComplaints complaints;
};

int Fail(int status, const std::string& reason) {
  std::fprintf(stderr, "gateway: %s\n", reason.c_str());
  return status;
}

void SetEvents(Gateway::ServerEvents& events, bool showsArrivals, Logs& logs) {
  events.onStoreFailure = [&logs](const std::string& reason) { logs.complaints.Add(reason); };
  if (!showsArrivals) {
    return;
  }
  events.onRecord = [&logs](const Gateway::Record& record) { logs.arrivals.ShowRecord(record); };
  events.onFault = [&logs](const std::string& target, const Gateway::Fault& fault) {
    logs.arrivals.ShowFault(target, fault);
  };
  events.onConfigurationRequest = [&logs](const std::string& target) {
    logs.arrivals.ShowConfigurationRequest(target);
  };
}

// Reads the token's file into `token`. Returns what is wrong with it.
std::string ReadToken(const std::string& path, std::string& token) {
  if (path.empty()) {
    return {};
  }
  const std::optional<std::string> text = ReadFile(path);
  if (!text) {
    return "cannot read the token file " + path;
  }
  token = text->substr(0, text->find_first_of("\r\n"));
  return Gateway::IsUsableToken(token)
             ? ""
             : "the token in " + path + " needs 16 characters or more: letters, digits and -._~+/=";
}

// Opens the store, if any. Returns what is wrong with it.
std::string OpenStoreFor(const Gateway::Options& options, Gateway::ServerOptions& result) {
  std::string error;
  if (!options.store.empty()) {
    result.store = Gateway::OpenStore({options.store, options.retentionDays}, error);
  }
  return error;
}

// Returns what is wrong with the options' files.
std::string FillServerOptions(const Gateway::Options& options, Gateway::ServerOptions& result) {
  result.address = options.address;
  result.port = options.port;
  result.https = options.https;
  result.certificateFile = options.certificateFile;
  result.keyFile = options.keyFile;
  result.pageAddress = options.pageAddress;
  result.pagePort = options.pagePort;
  result.limits = options.limits;
  result.maxExpandedBytes = options.maxExpandedBytes;
  if (!options.settingsFile.empty()) {
    if (!ReadFile(options.settingsFile)) {
      return "cannot read the settings file " + options.settingsFile;
    }
    result.settingsFile = options.settingsFile;
    // Read for each request, so that the file can be edited while the gateway runs.
    result.readSettings = [path = options.settingsFile] { return ReadFile(path); };
  }
  const std::string error = ReadToken(options.tokenFile, result.token);
  return error.empty() ? OpenStoreFor(options, result) : error;
}

void PrintAddresses(const Gateway::Server& server) {
  std::printf("Gateway listening on %s\n", server.Url().c_str());
  if (server.PagePort() != server.Port()) {
    std::printf("Page and API on %s\n", server.PageUrl().c_str());
  }
  std::fflush(stdout);
}

int RunGateway(const Gateway::Options& options) {
  // A closed standard output ends the log, not the gateway.
  Gateway::PrepareProcess();
  PortFile portFile(options.portFile);
  PortFile pagePortFile(options.pagePortFile);
  Logs logs;
  Gateway::ServerOptions serverOptions;
  std::string error = FillServerOptions(options, serverOptions);
  if (!error.empty()) {
    return Fail(kExitFailure, error);
  }
  SetEvents(serverOptions.events, options.log, logs);
  Gateway::Server server(std::move(serverOptions));
  if (!server.Listen(error)) {
    return Fail(kExitFailure, error);
  }
  // Before the port file: a script may send the signal as soon as that exists.
  server.StopOnSignals();
  // The page's first, so that both exist when the other one does.
  if (!pagePortFile.Write(server.PagePort()) || !portFile.Write(server.Port())) {
    return Fail(kExitFailure, "cannot write the port file " + options.portFile);
  }
  PrintAddresses(server);
  server.Run();
  return 0;
}

}  // namespace

int RunProgram(const std::vector<std::string>& arguments) {
  try {
    std::string error;
    const auto options = Gateway::ParseOptions(arguments, error);
    if (!options) {
      return Fail(kExitUsage, error + "; see gateway --help");
    }
    if (options->help) {
      std::fputs(Gateway::HelpText().c_str(), stdout);
      return 0;
    }
    return options->forget.empty()
               ? RunGateway(*options)
               : Gateway::RunForget({options->store, 0}, options->forget, stdout, stderr);
  } catch (const std::exception& failure) {
    return Fail(kExitFailure, failure.what());
  }
}
