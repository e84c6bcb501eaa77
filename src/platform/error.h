// The calling thread's last system error and C run-time error (errno), with their texts.
#pragma once

#include <cerrno>
#include <cstdint>
#include <string>

namespace Tav::Platform {

// GetLastError and SetLastError on Windows; elsewhere a number kept for each thread.
uint32_t LastError() noexcept;
void SetLastError(uint32_t code) noexcept;

// The system's message for `code` without trailing white space; empty if it has none.
std::string ErrorMessage(uint32_t code);

// The C run-time's message for an errno value. Thread-safe, unlike strerror.
std::string ErrnoMessage(int code);

// Restores the calling thread's last error and errno at the end of a scope, so that code such as
// logging or closing a handle does not overwrite the reason of a failure.
class ErrorKeeper {
 public:
  ErrorKeeper() : lastError_(LastError()), errno_(errno) {}
  ~ErrorKeeper() {
    errno = errno_;
    SetLastError(lastError_);
  }
  ErrorKeeper(const ErrorKeeper&) = delete;
  ErrorKeeper& operator=(const ErrorKeeper&) = delete;

  // The values on entry.
  uint32_t LastErrorCode() const { return lastError_; }
  int Errno() const { return errno_; }

 private:
  const uint32_t lastError_;
  const int errno_;
};

}  // namespace Tav::Platform
