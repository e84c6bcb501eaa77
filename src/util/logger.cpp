#include "util/logger.h"

#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/error.h"
#include "platform/file.h"
#include "platform/thread.h"
#include "util/log_line.h"
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

// The user's profile folder, whose name is usually the user's. A path that was replaced is kept,
// because another thread may be reading it.
struct HiddenFolder {
  std::string path;  // empty: none is hidden
  const HiddenFolder* replaced;
};
std::atomic<const HiddenFolder*> hiddenFolder{nullptr};
constexpr std::string_view kHiddenFolderName = "%USERPROFILE%";

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

void HideProfileFolder() {
  constexpr size_t kMinSize = 4;  // more than a drive
  std::string path = Platform::Environment("USERPROFILE").value_or("");
  if (path.size() < kMinSize) {
    path.clear();
  }
  const HiddenFolder* const hidden = hiddenFolder.load(std::memory_order_acquire);
  if (path != (hidden == nullptr ? std::string() : hidden->path)) {
    hiddenFolder.store(new HiddenFolder{std::move(path), hidden}, std::memory_order_release);
  }
}

void CloseLogger() {
  lineSink.store(nullptr);
  CloseLogFile();
}

namespace {

enum class Form { Line, LineWithPlace, Block };

void WriteLine(LogLevel level, Form form, const char* format, va_list arguments) {
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
    LogLine line;
    char stamp[kTimeStampTextSize];
    line.Append({stamp, FormatTimeStamp(CaptureTimeStamp(), stamp)});
    line.Append(" ");
    const size_t messageStart = line.Length();
    line.Append(LevelText(level));
    line.AppendArguments(format, arguments);
    if (form == Form::LineWithPlace) {
      line.AppendFormat(". Pid: %d, CpuId: %d, Tid: %ld", TAV_WHERE);
    }
    if (systemError != 0) {
      line.AppendFormat(" - (%08x) %s", systemError, Platform::ErrorMessage(systemError).c_str());
    }
    if (runTimeError != 0) {
      line.AppendFormat(" - (%d) %s", runTimeError, Platform::ErrnoMessage(runTimeError).c_str());
    }
    line.DropCutCharacter();  // the next step may make the line shorter
    const HiddenFolder* const hidden = hiddenFolder.load(std::memory_order_acquire);
    if (hidden != nullptr && !hidden->path.empty()) {
      line.Replace(messageStart, hidden->path, kHiddenFolderName);
    }
    if (form != Form::Block) {
      line.Escape(messageStart);
    }
    line.DropCutCharacter();
    Emit(toMessageSink, line.Text() + messageStart);
    Emit(toLineSink, line.Text());
  } catch (...) {
    // Memory ran out or the host's sink threw: only this line is lost.
  }
}

}  // namespace

void LogMessage(LogLevel level, const char* format, va_list arguments) noexcept {
  WriteLine(level, Form::Line, format, arguments);
}

void LogBlock(LogLevel level, const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  WriteLine(level, Form::Block, format, arguments);
  va_end(arguments);
}

#define TAV_FORWARD_TO_LOG_MESSAGE(level) \
  va_list arguments;                      \
  va_start(arguments, format);            \
  LogMessage(level, format, arguments);   \
  va_end(arguments)

void LogTrace(const char* format, ...) noexcept {
  TAV_FORWARD_TO_LOG_MESSAGE(LogLevel::Trace);
}

void LogDebug(const char* format, ...) noexcept {
  TAV_FORWARD_TO_LOG_MESSAGE(LogLevel::Debug);
}

void LogDebugHere(const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  WriteLine(LogLevel::Debug, Form::LineWithPlace, format, arguments);
  va_end(arguments);
}

void LogNote(const char* format, ...) noexcept {
  TAV_FORWARD_TO_LOG_MESSAGE(LogLevel::Note);
}

void LogWarning(const char* format, ...) noexcept {
  TAV_FORWARD_TO_LOG_MESSAGE(LogLevel::Warning);
}

void LogError(const char* format, ...) noexcept {
  TAV_FORWARD_TO_LOG_MESSAGE(LogLevel::Error);
}

#undef TAV_FORWARD_TO_LOG_MESSAGE

void LogException(const char* module, const char* outOfMemory) noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    LogError("%s%s", module, outOfMemory);
  } catch (const std::exception& exception) {
    LogError("%sUnexpected exception: %s", module, exception.what());
  } catch (...) {
    LogError("%sUnexpected exception", module);
  }
}

}  // namespace Tav
