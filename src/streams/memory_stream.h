// Streams over memory: reading a caller's buffer, and collecting output of unknown length.
#pragma once

#include <memory>
#include <vector>

#include "streams/stream.h"

namespace Tav {

// Reads a buffer that it borrows; the buffer must outlive the stream.
class MemoryInputStream : public InputStream {
 public:
  MemoryInputStream(const void* data, size_t length)
      : data_(static_cast<const uint8_t*>(data)), length_(length) {}

  int32_t ReadByte() override { return position_ < length_ ? data_[position_++] : -1; }
  size_t Read(void* buffer, size_t count) override;

 private:
  const uint8_t* data_;
  size_t length_;
  size_t position_ = 0;
};

// Keeps what is written in blocks of 4,096 bytes, so that growing never copies. Fails with "Out of
// memory" instead of throwing; what was written before stays readable.
class MemoryOutputStream : public OutputStream {
 public:
  MemoryOutputStream() : error_(kErrorTextLimit) {}
  ~MemoryOutputStream() override;

  void Write(const void* buffer, size_t count) override;
  bool HasError() const override { return error_.Failed(); }
  const char* ErrorText() const override { return error_.Text(); }

  // Bytes written so far.
  size_t Size() const { return size_; }
  // Copies all Size() bytes to `destination`, which has room for them.
  void CopyTo(uint8_t* destination) const;
  // The same as a buffer of its own. Throws std::bad_alloc.
  std::vector<uint8_t> Join() const;

 private:
  static constexpr size_t kBlockSize = 4096;
  static constexpr size_t kErrorTextLimit = 32;

  struct Block {
    std::unique_ptr<Block> next;
    uint8_t bytes[kBlockSize];
  };

  bool AddBlock();

  std::unique_ptr<Block> first_;
  Block* last_ = nullptr;
  size_t lastFill_ = kBlockSize;
  size_t size_ = 0;
  StreamError error_;
};

}  // namespace Tav
