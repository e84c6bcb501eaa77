#include "streams/stream.h"

#include <cstdio>

namespace Tav {

void StreamError::Set(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  SetVa(format, arguments);
  va_end(arguments);
}

void StreamError::SetVa(const char* format, va_list arguments) {
  if (failed_) {
    return;
  }
  failed_ = true;
  std::vsnprintf(text_, limit_ + 1, format, arguments);
}

int32_t InputStream::ReadByte() {
  uint8_t byte;
  return Read(&byte, 1) == 1 ? byte : -1;
}

void OutputStream::WriteByte(uint8_t byte) {
  Write(&byte, 1);
}

}  // namespace Tav
