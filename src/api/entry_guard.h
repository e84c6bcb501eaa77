// Shared code of the C API's entry points: it keeps exceptions from the host and checks arguments
// in one order with one set of messages.
#pragma once

#include <cstddef>
#include <string_view>
#include <utility>

#include "model/handles.h"
#include "platform/process.h"
#include "util/logger.h"
#include "util/text.h"

namespace Tav {

class SessionManager;

void LogOutOfMemory();

// Runs an entry point's body and returns its result. An exception is logged, the call has no
// further effect, and the result is `fallback`.
//
// Once the process ends, nothing is done or logged, and the result is `fallback`: the system has
// killed the session thread, which may have held the lock of the queue, the heap or the log file.
template <typename Result, typename Body>
Result Boundary(Result fallback, Body&& body) noexcept {
  if (Platform::ProcessEnding()) [[unlikely]] {
    return fallback;
  }
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    LogException("Tav: ");
    return fallback;
  }
}

template <typename Body>
void Boundary(Body&& body) noexcept {
  if (Platform::ProcessEnding()) [[unlikely]] {
    return;
  }
  try {
    std::forward<Body>(body)();
  } catch (...) {
    LogException("Tav: ");
  }
}

// The session manager, or null after the ERROR "Tav: <entryPoint> called with no manager defined".
SessionManager* RequireManager(const char* entryPoint);

inline constexpr size_t kMaxNameLength = 255;  // bytes, after trimming

inline bool IsValidName(std::string_view name) {
  return !name.empty() && name.size() <= kMaxNameLength;
}

// Product keys with this text in them are reserved for the library.
inline constexpr std::string_view kReservedKeyText = "std-";

inline bool IsValidProductKey(std::string_view key) {
  return IsValidName(key) && key.find(kReservedKeyText) == std::string_view::npos;
}

// A host's text for a log line.
inline const char* OrEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

void LogDeadHandle(const TavValue_s* handle, const char* entryPoint, const char* noun);
void LogBadArgument(const char* entryPoint, const char* noun);

// True for a live handle; else false after the ERROR "Tav: <entryPoint> called with a null <noun>"
// or "... a re-used <noun>". Does not change the handle.
inline bool CheckLive(const TavValue_s* handle, const char* entryPoint, const char* noun) {
  if (handle != nullptr && handle->magic == kHandleLive) [[likely]] {
    return true;
  }
  LogDeadHandle(handle, entryPoint, noun);
  return false;
}

// Returns `good`; if it is false, logs the ERROR "Tav: <entryPoint> called with a bad <noun>".
inline bool CheckArgument(bool good, const char* entryPoint, const char* noun) {
  if (!good) [[unlikely]] {
    LogBadArgument(entryPoint, noun);
  }
  return good;
}

}  // namespace Tav

// The arguments for "%.*s", for texts that do not end in a zero.
#define TAV_VIEW(view) static_cast<int>((view).size()), (view).data()
