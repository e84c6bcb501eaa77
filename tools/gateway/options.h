// The gateway's command line.
#pragma once

#include <optional>
#include <span>
#include <string>

namespace Gateway {

constexpr int kDefaultPort = 8080;

struct Options {
  std::string address = "127.0.0.1";
  int port = kDefaultPort;
  std::string portFile;
  std::string settingsFile;
  bool https = false;
  std::string certificateFile;
  std::string keyFile;
  bool log = false;
  bool help = false;
};

// Reads the arguments without the program's name. An option's value is the next argument or follows
// '='. On failure returns nothing, with the wrong argument in `error`.
std::optional<Options> ParseOptions(std::span<const char* const> arguments, std::string& error);

// What --help prints.
const char* HelpText();

}  // namespace Gateway
