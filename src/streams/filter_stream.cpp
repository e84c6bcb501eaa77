#include "streams/filter_stream.h"

#include <algorithm>
#include <cstring>

namespace Tav {

BufferedInputStream::BufferedInputStream(InputStream* inner, size_t size)
    : FilterInputStream(inner), buffer_(new uint8_t[size]), size_(size) {}

bool BufferedInputStream::Refill() {
  ++refillCount_;
  position_ = 0;
  fill_ = Inner()->Read(buffer_.get(), size_);
  return fill_ != 0;
}

int32_t BufferedInputStream::PeekByte() {
  return position_ < fill_ || Refill() ? buffer_[position_] : -1;
}

int32_t BufferedInputStream::ReadByte() {
  return position_ < fill_ || Refill() ? buffer_[position_++] : -1;
}

size_t BufferedInputStream::Read(void* buffer, size_t count) {
  uint8_t* destination = static_cast<uint8_t*>(buffer);
  size_t delivered = 0;
  while (delivered < count && (position_ < fill_ || Refill())) {
    const size_t piece = std::min(count - delivered, fill_ - position_);
    std::memcpy(destination + delivered, buffer_.get() + position_, piece);
    position_ += piece;
    delivered += piece;
  }
  return delivered;
}

BufferedOutputStream::BufferedOutputStream(OutputStream* inner, size_t size)
    : FilterOutputStream(inner), buffer_(new uint8_t[size]), size_(size) {}

void BufferedOutputStream::WriteOut() {
  if (fill_ != 0 && !HasError()) {
    Inner()->Write(buffer_.get(), fill_);
  }
  fill_ = 0;
}

void BufferedOutputStream::WriteByte(uint8_t byte) {
  if (fill_ == size_) {
    WriteOut();
  }
  buffer_[fill_++] = byte;
}

void BufferedOutputStream::Write(const void* buffer, size_t count) {
  const uint8_t* source = static_cast<const uint8_t*>(buffer);
  while (count != 0) {
    if (fill_ == size_) {
      WriteOut();
    }
    const size_t piece = std::min(count, size_ - fill_);
    std::memcpy(buffer_.get() + fill_, source, piece);
    fill_ += piece;
    source += piece;
    count -= piece;
  }
}

void BufferedOutputStream::Flush() {
  WriteOut();
  Inner()->Flush();
}

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
