// Buffers between many small reads or writes and a stream where each one costs something.
#pragma once

#include <memory>

#include "streams/stream.h"

namespace Tav {

inline constexpr size_t kStreamBufferSize = 4096;

class BufferedInputStream : public FilterInputStream {
 public:
  // `size` is at least 1. Throws std::bad_alloc.
  explicit BufferedInputStream(InputStream* inner, size_t size = kStreamBufferSize);

  int32_t ReadByte() override;
  size_t Read(void* buffer, size_t count) override;
  // As ReadByte, but the byte is delivered again by the next read.
  int32_t PeekByte();
  // How many times the buffer was filled from the stream below, fruitless attempts included.
  uint32_t RefillCount() const { return refillCount_; }

 private:
  bool Refill();

  std::unique_ptr<uint8_t[]> buffer_;
  size_t size_;
  size_t position_ = 0;
  size_t fill_ = 0;
  uint32_t refillCount_ = 0;
};

// Passes a full buffer on when the next byte needs room, and the rest on Flush. Neither Close nor
// the destructor writes what is held.
class BufferedOutputStream : public FilterOutputStream {
 public:
  // `size` is at least 1. Throws std::bad_alloc.
  explicit BufferedOutputStream(OutputStream* inner, size_t size = kStreamBufferSize);

  void Flush() override;
  void WriteByte(uint8_t byte) override;
  void Write(const void* buffer, size_t count) override;

 private:
  void WriteOut();

  std::unique_ptr<uint8_t[]> buffer_;
  size_t size_;
  size_t fill_ = 0;
};

}  // namespace Tav
