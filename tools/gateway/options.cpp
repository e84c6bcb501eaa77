#include "gateway/options.h"

#include <charconv>
#include <string_view>

namespace Gateway {
namespace {

constexpr int kMaxPort = 65535;

class ArgumentReader {
 public:
  explicit ArgumentReader(std::span<const char* const> arguments) : arguments_(arguments) {}

  // Moves to the next argument and splits it at '='.
  bool Next() {
    if (next_ == arguments_.size()) {
      return false;
    }
    const std::string_view argument = arguments_[next_++];
    const std::size_t equals = argument.find('=');
    name_ = argument.substr(0, equals);
    hasAttached_ = equals != std::string_view::npos;
    attached_ = hasAttached_ ? argument.substr(equals + 1) : std::string_view();
    return true;
  }

  std::string_view Name() const { return name_; }
  bool HasAttachedValue() const { return hasAttached_; }

  std::optional<std::string> TakeValue() {
    if (hasAttached_) {
      return std::string(attached_);
    }
    if (next_ == arguments_.size()) {
      return std::nullopt;
    }
    return std::string(arguments_[next_++]);
  }

 private:
  std::span<const char* const> arguments_;
  std::size_t next_ = 0;
  std::string_view name_;
  bool hasAttached_ = false;
  std::string_view attached_;
};

bool ReadPort(const std::string& text, int& port) {
  const char* end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, port);
  return failure == std::errc() && rest == end && port >= 0 && port <= kMaxPort;
}

bool* FindSwitch(Options& options, std::string_view name) {
  if (name == "--https") {
    return &options.https;
  }
  if (name == "--log") {
    return &options.log;
  }
  return name == "--help" || name == "-h" ? &options.help : nullptr;
}

std::string* FindText(Options& options, std::string_view name) {
  if (name == "--port-file") {
    return &options.portFile;
  }
  if (name == "--config") {
    return &options.settingsFile;
  }
  if (name == "--certificate") {
    return &options.certificateFile;
  }
  if (name == "--key") {
    return &options.keyFile;
  }
  return name == "--address" ? &options.address : nullptr;
}

// Reads the current option. Returns what is wrong with it.
std::string ReadOption(ArgumentReader& reader, Options& options) {
  const std::string name(reader.Name());
  if (bool* flag = FindSwitch(options, name)) {
    *flag = true;
    return reader.HasAttachedValue() ? name + " takes no value" : "";
  }
  std::string* text = FindText(options, name);
  if (text == nullptr && name != "--port") {
    return "unknown option " + name;
  }
  const std::optional<std::string> value = reader.TakeValue();
  if (!value || value->empty()) {
    return name + " needs a value";
  }
  if (text != nullptr) {
    *text = *value;
    return {};
  }
  return ReadPort(*value, options.port)
             ? ""
             : "--port needs a number from 0 to 65535, not \"" + *value + '"';
}

// Returns what is wrong with the options as a whole.
std::string CheckCertificate(const Options& options) {
  if (options.certificateFile.empty() != options.keyFile.empty()) {
    return "--certificate and --key need each other";
  }
  return options.https || options.keyFile.empty() ? "" : "--certificate needs --https";
}

}  // namespace

std::optional<Options> ParseOptions(std::span<const char* const> arguments, std::string& error) {
  Options options;
  for (ArgumentReader reader(arguments); reader.Next();) {
    error = ReadOption(reader, options);
    if (!error.empty()) {
      return std::nullopt;
    }
  }
  error = CheckCertificate(options);
  return error.empty() ? std::optional(options) : std::nullopt;
}

const char* HelpText() {
  return "Usage: gateway [options]\n"
         "\n"
         "Receives usage records on this machine, checks them and lists them.\n"
         "\n"
         "  --port N          listen on port N; 0 selects a free port (default 8080)\n"
         "  --port-file FILE  write the port to FILE once listening; removed on exit\n"
         "  --address A       listen on address A (default 127.0.0.1, this machine only)\n"
         "  --https           speak HTTPS with a self-signed certificate made at start\n"
         "  --certificate FILE, --key FILE\n"
         "                    with --https: use this certificate and private key (PEM)\n"
         "  --config FILE     answer the configuration request with FILE (default: {})\n"
         "  --log             show each record and event as it arrives\n"
         "  --help            show this text\n"
         "\n"
         "Accepts records by POST to any path. GET /api/records, /api/events or /api/summary to "
         "see\n"
         "what arrived; POST to /api/faults to inject faults, to /api/reset to delete everything.\n"
         "Stops on Ctrl+C or SIGTERM.\n";
}

}  // namespace Gateway
