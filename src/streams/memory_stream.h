// Streams over memory: one reads a caller's buffer, the other collects output of unknown length.
#pragma once

#include <memory>
#include <vector>

#include "streams/stream.h"

namespace Tav {

// Borrows the buffer, which must outlive the stream.
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

// Keeps the output in blocks of 4,096 bytes, so that growing never copies. Fails with "Out of
// memory" instead of throwing; what was written before stays readable.
class MemoryOutputStream : public OutputStream {
 public:
  MemoryOutputStream() : error_(kMaxErrorText) {}
  ~MemoryOutputStream() override;

  void Write(const void* buffer, size_t count) override;
  bool HasError() const override { return error_.Failed(); }
  const char* ErrorText() const override { return error_.Text(); }

  // Bytes written so far.
  size_t Size() const { return size_; }
  // A copy of what was written. Throws std::bad_alloc.
  std::vector<uint8_t> Join() const;

 private:
  static constexpr size_t kBlockSize = 4096;
  static constexpr size_t kMaxErrorText = 32;

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
