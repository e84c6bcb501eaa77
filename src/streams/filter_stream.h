// Filters that pass bytes on unchanged: buffers, a counter, and a reader of single lines.
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
  // Like ReadByte, but the next read delivers the byte again.
  int32_t PeekByte();
  // How often the buffer was filled, attempts at the end included.
  uint32_t RefillCount() const { return refillCount_; }

 private:
  bool Refill();

  std::unique_ptr<uint8_t[]> buffer_;
  size_t size_;
  size_t position_ = 0;
  size_t fill_ = 0;
  uint32_t refillCount_ = 0;
};

// Writes a full buffer when the next byte needs room, and the rest on Flush. Close and the
// destructor discard what is buffered.
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

// Counts the bytes written through it.
class CounterOutputStream : public FilterOutputStream {
 public:
  explicit CounterOutputStream(OutputStream* inner) : FilterOutputStream(inner) {}

  void Write(const void* buffer, size_t count) override {
    count_ += count;
    Inner()->Write(buffer, count);
  }

  uint64_t Count() const { return count_; }

 private:
  uint64_t count_ = 0;
};

// Delivers the bytes of the current line without its end, and then nothing until NextLine: a filter
// on top of this one reads each line as a stream of its own. A line ends with LF or CR LF; any
// other CR belongs to the line. The last line needs no end.
class LineInputStream : public FilterInputStream {
 public:
  explicit LineInputStream(InputStream* inner) : FilterInputStream(inner) {}

  // Skips the rest of the current line; the first call moves to the first line. False at the end.
  bool NextLine();
  // The stream below has ended.
  bool AtEnd() const { return atEnd_; }

  int32_t ReadByte() override;
  size_t Read(void* buffer, size_t count) override;

 private:
  static constexpr int32_t kNone = -2;

  int32_t TakeByte();

  int32_t lookAhead_ = kNone;
  bool inLine_ = false;
  bool atEnd_ = false;
};

}  // namespace Tav
