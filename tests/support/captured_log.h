// Collects what the library logs, from TRACE on, for as long as it lives. One at a time.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "util/logger.h"

namespace Tav::Testing {

class CapturedLog {
 public:
  CapturedLog() {
    Lines().clear();
    ConfigureLogger([](const char* line) { Lines().emplace_back(line); }, nullptr, true);
    Internal::logThreshold = static_cast<int>(LogLevel::Trace);
  }
  ~CapturedLog() { ConfigureLogger(nullptr, nullptr, false); }

  // The lines since the last call, without time stamps.
  std::vector<std::string> Take() { return std::exchange(Lines(), {}); }

  // The first line that begins with `start`; empty when there is none.
  std::string Find(const std::string& start) const {
    const auto found = std::find_if(Lines().begin(), Lines().end(),
                                    [&](const auto& line) { return line.starts_with(start); });
    return found != Lines().end() ? *found : std::string();
  }

 private:
  static std::vector<std::string>& Lines() {
    static std::vector<std::string> lines;
    return lines;
  }
};

}  // namespace Tav::Testing
