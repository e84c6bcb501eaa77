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
  bool log = false;
  bool help = false;
};

// Reads the arguments, the program's name not among them; an option's value may follow it or stand
// behind '='. On failure nothing, and `error` says which argument is wrong.
std::optional<Options> ParseOptions(std::span<const char* const> arguments, std::string& error);

// What --help prints.
const char* HelpText();

}  // namespace Gateway
