// The calling thread's last system error and its text, and the text of the C run-time's errno.
#pragma once

#include <cstdint>
#include <string>

namespace Tav::Platform {

// GetLastError on Windows; a per-thread word of its own elsewhere.
uint32_t LastError();
void SetLastError(uint32_t code);

// The system's message for `code`, trailing white space removed; empty when it has none.
std::string ErrorMessage(uint32_t code);

// The C run-time's text for an errno value; strerror without its shared buffer.
std::string ErrnoMessage(int code);

// Keeps the calling thread's last error and errno over a block: for code that runs between a
// failure and the caller's question after its reason, such as logging and closing.
class ErrorKeeper {
 public:
  ErrorKeeper();
  ~ErrorKeeper();
  ErrorKeeper(const ErrorKeeper&) = delete;
  ErrorKeeper& operator=(const ErrorKeeper&) = delete;

  // The values on entry.
  uint32_t LastErrorCode() const { return lastError_; }
  int Errno() const { return errno_; }

 private:
  uint32_t lastError_;
  int errno_;
};

}  // namespace Tav::Platform
