#include "util/arena.h"

#include <cstdint>
#include <cstdlib>
#include <new>

#include "util/block_pool.h"

namespace Tav {

namespace {

constexpr size_t kAlignment = 8;
constexpr uint64_t kFromHeap = 0x4845415048454150;   // "HEAPHEAP"
constexpr uint64_t kFromArena = 0x4152454E41524E41;  // "ARENARNA"

constexpr size_t RoundUp(size_t size) {
  return (size + kAlignment - 1) & ~(kAlignment - 1);
}

// Writes the tag and returns the memory after it.
void* Tag(void* memory, uint64_t origin) {
  return new (memory) uint64_t{origin} + 1;
}

}  // namespace

Arena* Arena::Create() {
  auto* const block = static_cast<std::byte*>(BlockPool::Acquire());
  if (block == nullptr) {
    return nullptr;
  }
  return new (block) Arena(block + RoundUp(sizeof(Arena)), block + BlockPool::kUsableSize);
}

void Arena::Destroy(Arena* arena) {
  Extension* extension = arena->extensions_;
  while (extension != nullptr) {
    Extension* const next = extension->next;
    BlockPool::Release(extension);
    extension = next;
  }
  BlockPool::Release(arena);
}

void* Arena::Allocate(size_t size) {
  const size_t needed = RoundUp(size);
  if (needed < size || needed > BlockPool::kUsableSize - RoundUp(sizeof(Extension))) {
    return nullptr;
  }
  if (needed > static_cast<size_t>(end_ - cursor_) && !Grow()) {
    return nullptr;
  }
  void* const memory = cursor_;
  cursor_ += needed;
  return memory;
}

bool Arena::Grow() {
  auto* const block = static_cast<std::byte*>(BlockPool::Acquire());
  if (block == nullptr) {
    return false;
  }
  extensions_ = new (block) Extension{extensions_};
  cursor_ = block + RoundUp(sizeof(Extension));
  end_ = block + BlockPool::kUsableSize;
  return true;
}

void* TaggedAllocate(size_t size, Arena* arena) {
  const size_t total = size + sizeof(uint64_t);
  if (total < size) {
    return nullptr;
  }
  if (arena != nullptr) {
    if (void* const memory = arena->Allocate(total)) {
      return Tag(memory, kFromArena);
    }
  }
  void* const memory = std::malloc(total);
  return memory == nullptr ? nullptr : Tag(memory, kFromHeap);
}

void TaggedFree(void* memory) {
  if (memory == nullptr) {
    return;
  }
  uint64_t* const tag = static_cast<uint64_t*>(memory) - 1;
  if (*tag == kFromHeap) {
    std::free(tag);
  }
}

}  // namespace Tav
