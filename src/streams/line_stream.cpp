#include "streams/line_stream.h"

namespace Tav {

int32_t LineInputStream::TakeByte() {
  if (lookAhead_ != kNone) {
    const int32_t byte = lookAhead_;
    lookAhead_ = kNone;
    return byte;
  }
  if (atEnd_) {
    return -1;
  }
  const int32_t byte = Inner()->ReadByte();
  atEnd_ = byte < 0;
  return byte;
}

bool LineInputStream::NextLine() {
  while (inLine_) {
    ReadByte();
  }
  lookAhead_ = TakeByte();
  inLine_ = lookAhead_ >= 0;
  return inLine_;
}

int32_t LineInputStream::ReadByte() {
  if (!inLine_) {
    return -1;
  }
  int32_t byte = TakeByte();
  if (byte == '\r') {
    lookAhead_ = TakeByte();
    if (lookAhead_ != '\n') {
      return byte;
    }
    byte = TakeByte();
  }
  if (byte < 0 || byte == '\n') {
    inLine_ = false;
    return -1;
  }
  return byte;
}

size_t LineInputStream::Read(void* buffer, size_t count) {
  uint8_t* destination = static_cast<uint8_t*>(buffer);
  size_t delivered = 0;
  while (delivered < count) {
    const int32_t byte = ReadByte();
    if (byte < 0) {
      break;
    }
    destination[delivered++] = static_cast<uint8_t>(byte);
  }
  return delivered;
}

}  // namespace Tav
