#include "util/logger.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "platform/error.h"
#include "platform/file.h"
#include "platform/thread.h"
#include "util/time_stamp.h"

namespace Tav {

namespace Internal {
std::atomic<int> logThreshold{0};
}

namespace {

std::atomic<LogSink> messageSink{nullptr};
std::atomic<LogSink> lineSink{nullptr};
std::atomic<std::FILE*> logFile{nullptr};
// Threads that may be using the log file; closing waits for them.
std::atomic<int> logFileWriters{0};

// One line. Each piece is cut to the room that is left.
class Line {
 public:
  void Append(std::string_view piece) {
    const size_t length = std::min(piece.size(), kSize - 1 - length_);
    std::memcpy(text_ + length_, piece.data(), length);
    length_ += length;
    text_[length_] = '\0';
  }

  void AppendArguments(const char* format, va_list arguments) {
    const size_t room = kSize - length_;
    const int length = std::vsnprintf(text_ + length_, room, format, arguments);
    if (length < 0) {
      // The run-time cannot convert a wide text. The format alone is better than nothing.
      Append(format);
    } else {
      length_ += std::min(static_cast<size_t>(length), room - 1);
    }
  }

  void AppendFormat(const char* format, ...) TAV_PRINTF(2, 3) {
    va_list arguments;
    va_start(arguments, format);
    AppendArguments(format, arguments);
    va_end(arguments);
  }

  size_t Length() const { return length_; }
  const char* Text() const { return text_; }

 private:
  static constexpr size_t kSize = 2048;
  size_t length_ = 0;
  char text_[kSize];
};

void WriteToLogFile(const char* line) {
  logFileWriters.fetch_add(1);
  std::FILE* const file = logFile.load();
  if (file && line) {
    std::fprintf(file, "%s\n", line);
    std::fflush(file);
  }
  logFileWriters.fetch_sub(1);
}

LogSink OpenLogFile() {
#ifdef TAV_NO_ENVIRONMENT_OVERRIDES
  const std::optional<std::string> path;
#else
  const std::optional<std::string> path = Platform::Environment("TAV_LOGFILE");
#endif
  if (!path) {
    return nullptr;
  }
  logFile.store(Platform::OpenFile(path->c_str(), "a"));
  return logFile.load() ? WriteToLogFile : nullptr;
}

void CloseLogFile() {
  std::FILE* const file = logFile.exchange(nullptr);
  if (!file) {
    return;
  }
  // A detached thread may be writing. If it takes long, the stream stays open. A pause of one
  // millisecond can take sixteen.
  constexpr int kYields = 500;
  constexpr int kMaxWaits = kYields + 60;
  for (int i = 0; logFileWriters.load() != 0; ++i) {
    if (i == kMaxWaits) {
      return;
    }
    Platform::SleepMilliseconds(i < kYields ? 0 : 1);
  }
  std::fclose(file);
}

LogLevel ConfiguredLevel(bool verboseByDefault) {
  constexpr const char* kNames[] = {"TRACE", "DEBUG", "NOTE", "WARN", "ERROR"};
  const std::string name = Platform::Environment("TAV_LOG_LEVEL").value_or("");
  int level = static_cast<int>(LogLevel::Trace);
  for (const char* const known : kNames) {
    if (name == known) {
      return static_cast<LogLevel>(level);
    }
    ++level;
  }
  return verboseByDefault ? LogLevel::Debug : LogLevel::Warning;
}

const char* LevelText(LogLevel level) {
  switch (level) {
    case LogLevel::Warning:
      return "warning: ";
    case LogLevel::Error:
      return "error: ";
    default:
      return "";
  }
}

// Skips `marker` at the start of the format. False if there is none.
bool SkipMarker(char marker, const char** format) {
  if (**format != marker) {
    return false;
  }
  ++*format;
  return true;
}

void Emit(LogSink sink, const char* line) {
  if (sink) {
    sink(line);
  }
}

}  // namespace

void ConfigureLogger(LogSink newMessageSink, LogSink newLineSink, bool debugMode) {
  CloseLogger();
  const LogSink line = newLineSink ? newLineSink : OpenLogFile();
  const LogLevel level = ConfiguredLevel(debugMode || line);
  lineSink.store(line);
  messageSink.store(newMessageSink);
  const LogLevel threshold = newMessageSink || line ? level : LogLevel::Off;
  Internal::logThreshold.store(static_cast<int>(threshold));
}

void CloseLogger() {
  lineSink.store(nullptr);
  CloseLogFile();
}

void LogMessage(LogLevel level, const char* format, va_list arguments) {
  if (!LogEnabled(level)) {
    return;
  }
  const LogSink toMessageSink = messageSink.load(std::memory_order_acquire);
  const LogSink toLineSink = lineSink.load(std::memory_order_acquire);
  if (!toMessageSink && !toLineSink) {
    return;
  }
  const Platform::ErrorKeeper keeper;
  try {
    const uint32_t systemError = SkipMarker('$', &format) ? keeper.LastErrorCode() : 0;
    const int runTimeError = SkipMarker('*', &format) ? keeper.Errno() : 0;
    Line line;
    char stamp[kTimeStampTextSize];
    line.Append({stamp, FormatTimeStamp(CaptureTimeStamp(), stamp)});
    line.Append(" ");
    const size_t messageStart = line.Length();
    line.Append(LevelText(level));
    line.AppendArguments(format, arguments);
    if (systemError != 0) {
      line.AppendFormat(" - (%08x) %s", systemError, Platform::ErrorMessage(systemError).c_str());
    }
    if (runTimeError != 0) {
      line.AppendFormat(" - (%d) %s", runTimeError, Platform::ErrnoMessage(runTimeError).c_str());
    }
    Emit(toMessageSink, line.Text() + messageStart);
    Emit(toLineSink, line.Text());
  } catch (...) {
    // Memory ran out or the host's sink threw: only this line is lost.
  }
}

#define TAV_FORWARD_TO_LOG_MESSAGE(level) \
  va_list arguments;                      \
  va_start(arguments, format);            \
  LogMessage(level, format, arguments);   \
  va_end(arguments)

void LogTrace(const char* format, ...) {
  TAV_FORWARD_TO_LOG_MESSAGE(LogLevel::Trace);
}

void LogDebug(const char* format, ...) {
  TAV_FORWARD_TO_LOG_MESSAGE(LogLevel::Debug);
}

void LogNote(const char* format, ...) {
  TAV_FORWARD_TO_LOG_MESSAGE(LogLevel::Note);
}

void LogWarning(const char* format, ...) {
  TAV_FORWARD_TO_LOG_MESSAGE(LogLevel::Warning);
}

void LogError(const char* format, ...) {
  TAV_FORWARD_TO_LOG_MESSAGE(LogLevel::Error);
}

#undef TAV_FORWARD_TO_LOG_MESSAGE

}  // namespace Tav
