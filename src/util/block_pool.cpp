#include "util/block_pool.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <new>

#include "platform/process.h"
#include "platform/thread.h"

#if defined(__SANITIZE_ADDRESS__)
#define TAV_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TAV_ADDRESS_SANITIZER 1
#endif
#endif

#ifdef TAV_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace Tav::BlockPool {

namespace {

// Idle slabs that keep their memory after a burst: in steady use blocks are cut from one slab while
// those of another are released.
constexpr size_t kMaxIdleWithMemory = 2;
constexpr size_t kSlabSize = kBlockSize * kBlocksPerSlab;

// Outlives the slab's memory: a thread may read `current` just before the slab is used up and then
// still add to `cut`.
struct Slab {
  // Blocks cut so far; the slab is used up at kBlocksPerSlab or above. It keeps that value while
  // idle, so that a late addition yields no block.
  std::atomic<uint32_t> cut{kBlocksPerSlab};
  // Blocks not released yet, counted down from kBlocksPerSlab: zero only after every block has been
  // cut.
  std::atomic<uint32_t> outstanding{0};
  std::byte* memory = nullptr;
  Slab* nextIdle = nullptr;
};

// The start of every block in use.
struct BlockHeader {
  Slab* slab;
};

constinit std::atomic<Slab*> current{nullptr};
constinit Platform::StaticLock slowPath;  // guards the variables below and changes of `current`
constinit Slab* idle = nullptr;
constinit size_t idleWithMemory = 0;
constinit size_t committed = 0;

// Tell AddressSanitizer which memory is in use; nothing in other builds.
void Poison([[maybe_unused]] const void* memory, [[maybe_unused]] size_t size) {
#ifdef TAV_ADDRESS_SANITIZER
  __asan_poison_memory_region(memory, size);
#endif
}

void Unpoison([[maybe_unused]] const void* memory, [[maybe_unused]] size_t size) {
#ifdef TAV_ADDRESS_SANITIZER
  __asan_unpoison_memory_region(memory, size);
#endif
}

void FreeMemory(Slab& slab) {
  if (slab.memory != nullptr) {
    Unpoison(slab.memory, kSlabSize);
    Platform::FreePages(slab.memory, kSlabSize);
    slab.memory = nullptr;
    --committed;
  }
}

// Adds a slab whose blocks are all released to the idle list. Frees its memory if enough idle slabs
// have some.
void MakeIdle(Slab& slab) {
  if (idleWithMemory < kMaxIdleWithMemory) {
    ++idleWithMemory;
  } else {
    FreeMemory(slab);
  }
  // Slabs with memory come first in the list.
  if (slab.memory != nullptr || idle == nullptr) {
    slab.nextIdle = idle;
    idle = &slab;
  } else {
    Slab* last = idle;
    while (last->nextIdle != nullptr && last->nextIdle->memory != nullptr) {
      last = last->nextIdle;
    }
    slab.nextIdle = last->nextIdle;
    last->nextIdle = &slab;
  }
}

Slab* TakeIdle() {
  Slab* slab = idle;
  if (slab == nullptr) {
    return new (std::nothrow) Slab;
  }
  idle = slab->nextIdle;
  slab->nextIdle = nullptr;
  if (slab->memory != nullptr) {
    --idleWithMemory;
  }
  return slab;
}

void PutBack(Slab& slab) {
  slab.nextIdle = idle;
  idle = &slab;
}

// Makes all blocks available, also to a thread that read `current` long ago.
void Reopen(Slab& slab) {
  slab.outstanding.store(kBlocksPerSlab, std::memory_order_relaxed);
  slab.cut.store(0, std::memory_order_release);
}

// Replaces the used-up slab `seen` as the current one. False when memory runs out.
bool Advance(const Slab* seen) {
  const std::lock_guard guard(slowPath);
  Slab* const now = current.load(std::memory_order_relaxed);
  if (now != seen ||
      (now != nullptr && now->cut.load(std::memory_order_relaxed) < kBlocksPerSlab)) {
    return true;
  }
  Slab* const slab = TakeIdle();
  if (slab == nullptr) {
    return false;
  }
  if (slab->memory == nullptr) {
    slab->memory = static_cast<std::byte*>(Platform::AllocatePages(kSlabSize));
    if (slab->memory == nullptr) {
      PutBack(*slab);
      return false;
    }
    ++committed;
  }
  Reopen(*slab);
  current.store(slab, std::memory_order_release);
  return true;
}

}  // namespace

void* Acquire() {
  for (;;) {
    Slab* const slab = current.load(std::memory_order_acquire);
    // Checked before the addition: without memory for a new slab the counter would overflow.
    if (slab != nullptr && slab->cut.load(std::memory_order_relaxed) < kBlocksPerSlab) {
      const uint32_t index = slab->cut.fetch_add(1, std::memory_order_acq_rel);
      if (index < kBlocksPerSlab) {
        std::byte* const block = slab->memory + index * kBlockSize;
        Unpoison(block, kBlockSize);
        new (block) BlockHeader{slab};
        return block + kHeaderSize;
      }
    }
    if (!Advance(slab)) {
      return nullptr;
    }
  }
}

void Release(void* block) {
  std::byte* const start = static_cast<std::byte*>(block) - kHeaderSize;
  Slab* const slab = std::launder(reinterpret_cast<BlockHeader*>(start))->slab;
  Poison(start, kBlockSize);
  if (slab->outstanding.fetch_sub(1, std::memory_order_acq_rel) != 1) {
    return;
  }
  const std::lock_guard guard(slowPath);
  if (current.load(std::memory_order_relaxed) == slab) {
    Reopen(*slab);
  } else {
    MakeIdle(*slab);
  }
}

void Trim() {
  const std::lock_guard guard(slowPath);
  Slab* const slab = current.load(std::memory_order_relaxed);
  if (slab != nullptr) {
    const uint32_t cut = slab->cut.load(std::memory_order_relaxed);
    const uint32_t returned = kBlocksPerSlab - slab->outstanding.load(std::memory_order_relaxed);
    if (cut == returned) {
      current.store(nullptr, std::memory_order_relaxed);
      FreeMemory(*slab);
      delete slab;
    }
  }
  while (idle != nullptr) {
    Slab* const next = idle->nextIdle;
    FreeMemory(*idle);
    delete idle;
    idle = next;
  }
  idleWithMemory = 0;
}

size_t CommittedSlabs() {
  const std::lock_guard guard(slowPath);
  return committed;
}

}  // namespace Tav::BlockPool
