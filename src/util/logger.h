// The diagnostic logger of the process. Silent unless the host or the environment enables it. Lines
// are printf-style. A format that begins with '$' gets the last system error appended, one that
// begins with '*' the C run-time's errno, "$*" both.
//
// Any thread may log at any time. A line is built on the caller's stack and passed to the sinks on
// the caller's thread; lines of several threads do not mix. Tools depend on the message texts: do
// not change them.
//
// A sink is the host's code and may wait for a lock that another thread holds while it calls the
// library. So no line is logged while a lock of the library is held.
//
// Names and texts from outside may contain control characters. They are escaped, so that none can
// forge a line or drive a terminal. Texts that identify a user or a machine are not logged: see
// Masked in util/log_text.h.
#pragma once

#include <atomic>
#include <cstdarg>

#include "platform/process.h"

#if defined(__clang__)
#define TAV_PRINTF(formatIndex, firstArgument) \
  __attribute__((format(printf, formatIndex, firstArgument)))
#elif defined(__GNUC__)
#define TAV_PRINTF(formatIndex, firstArgument) \
  __attribute__((format(gnu_printf, formatIndex, firstArgument)))
#else
#define TAV_PRINTF(formatIndex, firstArgument)
#endif

namespace Tav {

enum class LogLevel : int { Trace = 1, Debug = 2, Note = 3, Warning = 4, Error = 5, Off = 6 };

// Receives one zero-terminated line without a newline, on the thread that logs.
using LogSink = void (*)(const char* line);

// Sets the sinks (each may be null) and the threshold from its arguments, TAV_LOGFILE and
// TAV_LOG_LEVEL; docs/integration.md has the rules. No other thread may log meanwhile.
void ConfigureLogger(LogSink messageSink, LogSink lineSink, bool debugMode);

// From now on the path of the user's profile folder, whose name is usually the user's, appears in
// lines as "%USERPROFILE%".
void HideProfileFolder();

// Closes the log file and removes the line sink. Keeps the threshold and the message sink.
void CloseLogger();

namespace Internal {
extern std::atomic<int> logThreshold;
}

// One comparison. The macros below call it before they evaluate the arguments of a line.
inline bool LogEnabled(LogLevel level) {
  return static_cast<int>(level) >= Internal::logThreshold.load(std::memory_order_relaxed);
}

void LogTrace(const char* format, ...) noexcept TAV_PRINTF(1, 2);
void LogDebug(const char* format, ...) noexcept TAV_PRINTF(1, 2);
// Appends ". Pid: %d, CpuId: %d, Tid: %ld": the process, the processor and the thread that logs.
void LogDebugHere(const char* format, ...) noexcept TAV_PRINTF(1, 2);
void LogNote(const char* format, ...) noexcept TAV_PRINTF(1, 2);
void LogWarning(const char* format, ...) noexcept TAV_PRINTF(1, 2);
void LogError(const char* format, ...) noexcept TAV_PRINTF(1, 2);
void LogMessage(LogLevel level, const char* format, va_list arguments) noexcept;

// Logs the exception that is being handled, as an error: `module` and `outOfMemory` for
// std::bad_alloc, the only expected one. Any other is a defect of the library or its run-time, and
// the line has its text.
void LogException(const char* module, const char* outOfMemory = "Out of memory") noexcept;

// Writes a message of several lines: keeps the control characters, so the caller must pass texts
// from outside through EscapeControls.
void LogBlock(LogLevel level, const char* format, ...) noexcept TAV_PRINTF(2, 3);

}  // namespace Tav

// For every line below WARN: a line that is not written costs one comparison. Warnings and errors
// are rare and call LogWarning and LogError directly.
#define TAV_TRACE(...)                             \
  do {                                             \
    if (::Tav::LogEnabled(::Tav::LogLevel::Trace)) \
      ::Tav::LogTrace(__VA_ARGS__);                \
  } while (false)
#define TAV_DEBUG(...)                             \
  do {                                             \
    if (::Tav::LogEnabled(::Tav::LogLevel::Debug)) \
      ::Tav::LogDebug(__VA_ARGS__);                \
  } while (false)
#define TAV_DEBUG_HERE(...)                        \
  do {                                             \
    if (::Tav::LogEnabled(::Tav::LogLevel::Debug)) \
      ::Tav::LogDebugHere(__VA_ARGS__);            \
  } while (false)
#define TAV_NOTE(...)                             \
  do {                                            \
    if (::Tav::LogEnabled(::Tav::LogLevel::Note)) \
      ::Tav::LogNote(__VA_ARGS__);                \
  } while (false)

// The arguments for "Pid: %d, CpuId: %d, Tid: %ld" in other places of a line.
#define TAV_WHERE                                                    \
  ::Tav::Platform::ProcessId(), ::Tav::Platform::CurrentProcessor(), \
      ::Tav::Platform::CurrentThreadId()
