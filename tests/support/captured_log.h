// Collects the library's log lines of all threads and levels. One object at a time.
#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "util/logger.h"

namespace Tav::Testing {

class CapturedLog {
 public:
  CapturedLog() {
    Take();
    ConfigureLogger(Receive, nullptr, true);
    Internal::logThreshold = static_cast<int>(LogLevel::Trace);
  }
  ~CapturedLog() { ConfigureLogger(nullptr, nullptr, false); }

  // The message sink; public for tests in which the library configures its logger itself.
  static void Receive(const char* line) {
    const std::lock_guard guard(Mutex());
    Lines().emplace_back(line);
  }

  // The lines since the last call, without time stamps.
  std::vector<std::string> Take() {
    const std::lock_guard guard(Mutex());
    return std::exchange(Lines(), {});
  }

  // The first line that begins with `start`; empty if there is none.
  std::string Find(const std::string& start) const {
    const std::lock_guard guard(Mutex());
    const auto found = std::find_if(Lines().begin(), Lines().end(),
                                    [&](const auto& line) { return line.starts_with(start); });
    return found != Lines().end() ? *found : std::string();
  }

 private:
  static std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
  }
  static std::vector<std::string>& Lines() {
    static std::vector<std::string> lines;
    return lines;
  }
};

}  // namespace Tav::Testing
