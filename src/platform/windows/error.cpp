#include "platform/error.h"

#include <string.h>
#include <windows.h>

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

std::string ErrnoMessage(int code) {
  char text[128] = "";
  strerror_s(text, sizeof text, code);
  return text;
}

}  // namespace Tav::Platform
