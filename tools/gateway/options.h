// The gateway's command line.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "gateway/http/http_server.h"
#include "gateway/record_reader.h"

namespace Gateway {

constexpr int kDefaultPort = 8080;

struct Options {
  std::string address = "127.0.0.1";
  int port = kDefaultPort;
  std::string portFile;
  bool https = false;
  std::string certificateFile;
  std::string keyFile;

  std::string store;
  int retentionDays = 0;
  std::string settingsFile;

  std::optional<std::string> pageAddress;
  std::optional<int> pagePort;
  std::string pagePortFile;
  std::string tokenFile;

  HttpLimits limits;
  std::size_t maxExpandedBytes = kMaxExpandedBytes;

  std::string forget;  // the digest after `forget`; empty: run the gateway
  bool log = false;
  bool help = false;
};

// Reads the arguments without the program's name. An option's value is the next argument or follows
// '='. On failure returns nothing, with the wrong argument in `error`.
std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error);

// What --help prints.
std::string HelpText();

}  // namespace Gateway
