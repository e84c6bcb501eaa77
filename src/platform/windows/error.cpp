#include "platform/error.h"

#include <windows.h>

#include <cstring>

namespace Tav::Platform {

uint32_t LastError() noexcept {
  return ::GetLastError();
}

void SetLastError(uint32_t code) noexcept {
  ::SetLastError(code);
}

std::string ErrorMessage(uint32_t code) {
  char text[256];
  // FORMAT_MESSAGE_IGNORE_INSERTS: there are no arguments for texts with "%1".
  DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                code, 0, text, sizeof text, nullptr);
  while (length > 0 &&
         (text[length - 1] == ' ' || (text[length - 1] >= '\t' && text[length - 1] <= '\r'))) {
    --length;
  }
  return std::string(text, length);
}

// The run-time keeps the text for each thread. MinGW's strerror_s adds a kilobyte.
std::string ErrnoMessage(int code) {
  return std::strerror(code);
}

}  // namespace Tav::Platform
