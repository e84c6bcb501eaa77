// Lines for the log from a thread that must not log itself: one that its owner may leave behind at
// any time must not call into a host's sink any more. The owner writes them when it comes by.
#pragma once

#include <string>
#include <vector>

#include "platform/thread.h"
#include "util/logger.h"

namespace Tav {

class DeferredLog {
 public:
  // Keeps a line, cut to what the log takes; nothing happens when its level is not wanted.
  void Add(LogLevel level, const char* format, ...) TAV_PRINTF(3, 4);

  // Writes what there is, on the calling thread.
  void Write();

 private:
  struct Line {
    LogLevel level;
    std::string text;
  };

  Platform::Lock lock_;
  std::vector<Line> lines_;  // guarded by the lock
};

}  // namespace Tav
