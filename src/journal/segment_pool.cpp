#include "journal/segment_pool.h"

#include <algorithm>

#include "platform/process.h"

namespace Tav {

void SegmentPool::FailFile() {
  fileFailed_ = true;
  growing_ = false;
  bytes_ -= readyCount_ * kSegmentSize;
  readyCount_ = 0;
}

void SegmentPool::FailTaken() {
  bytes_ -= kSegmentSize;
  FailFile();
}

Segment SegmentPool::TakeMemory(size_t entrySize) {
  const size_t size = std::max(kSegmentSize, entrySize + kSegmentHeadSize);
  if (size > kMaxBytes - std::min(bytes_, kMaxBytes)) {
    return {};
  }
  auto* const memory = static_cast<std::byte*>(Platform::AllocatePages(size));
  if (memory == nullptr) {
    return {};
  }
  bytes_ += size;
  return Segment(memory, size);
}

void SegmentPool::Add(std::byte* mapped) {
  growing_ = true;
  bytes_ += kSegmentSize;
  ready_[readyCount_++] = mapped;
}

std::byte* SegmentPool::Remove() {
  if (readyCount_ == 0) {
    return nullptr;
  }
  bytes_ -= kSegmentSize;
  return ready_[--readyCount_];
}

void SegmentPool::ReturnMapped(Segment segment) {
  if (!segment.Release()) {
    FailFile();
  }
  if (fileFailed_) {
    bytes_ -= kSegmentSize;
    return;
  }
  ready_[readyCount_++] = segment.Memory();
}

void SegmentPool::FreeMemory(Segment segment) {
  bytes_ -= segment.Size();
  Platform::FreePages(segment.Memory(), segment.Size());
}

}  // namespace Tav
