#include "streams/memory_stream.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace Tav {

size_t MemoryInputStream::Read(void* buffer, size_t count) {
  const size_t delivered = std::min(count, length_ - position_);
  if (delivered != 0) {
    std::memcpy(buffer, data_ + position_, delivered);
    position_ += delivered;
  }
  return delivered;
}

MemoryOutputStream::~MemoryOutputStream() {
  // One by one: destroying a chain of unique_ptr would recurse once per block.
  while (first_) {
    first_ = std::move(first_->next);
  }
}

bool MemoryOutputStream::AddBlock() {
  Block* block = new (std::nothrow) Block;
  if (block == nullptr) {
    error_.Set("Out of memory");
    return false;
  }
  (last_ == nullptr ? first_ : last_->next).reset(block);
  last_ = block;
  lastFill_ = 0;
  return true;
}

void MemoryOutputStream::Write(const void* buffer, size_t count) {
  const uint8_t* source = static_cast<const uint8_t*>(buffer);
  while (count != 0 && !error_.Failed()) {
    if (lastFill_ == kBlockSize && !AddBlock()) {
      return;
    }
    const size_t piece = std::min(count, kBlockSize - lastFill_);
    std::memcpy(last_->bytes + lastFill_, source, piece);
    lastFill_ += piece;
    size_ += piece;
    source += piece;
    count -= piece;
  }
}

std::vector<uint8_t> MemoryOutputStream::Join() const {
  std::vector<uint8_t> joined(size_);
  uint8_t* destination = joined.data();
  for (const Block* block = first_.get(); block != nullptr; block = block->next.get()) {
    const size_t fill = block == last_ ? lastFill_ : kBlockSize;
    std::memcpy(destination, block->bytes, fill);
    destination += fill;
  }
  return joined;
}

}  // namespace Tav
