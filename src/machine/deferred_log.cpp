#include "machine/deferred_log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace Tav {

namespace {

constexpr size_t kLongestLine = 2048;

void WriteLine(LogLevel level, const char* format, ...) TAV_PRINTF(2, 3);

void WriteLine(LogLevel level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  LogMessage(level, format, arguments);
  va_end(arguments);
}

}  // namespace

void DeferredLog::Add(LogLevel level, const char* format, ...) {
  if (!LogEnabled(level)) {
    return;
  }
  char text[kLongestLine];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  Line line{level, length < 0 ? format : text};
  const std::lock_guard guard(lock_);
  lines_.push_back(std::move(line));
}

void DeferredLog::Write() {
  std::vector<Line> lines;
  {
    const std::lock_guard guard(lock_);
    lines.swap(lines_);
  }
  for (const Line& line : lines) {
    WriteLine(line.level, "%s", line.text.c_str());
  }
}

}  // namespace Tav
