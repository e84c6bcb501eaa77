#include "util/block_pool.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <new>

#include "platform/process.h"
#include "platform/thread.h"
#include "util/poison.h"

namespace Tav::BlockPool {

namespace {

// Slabs kept ready after a burst: one being cut, one being drained.
constexpr size_t kIdleSlabsKept = 2;
constexpr size_t kSlabSize = kBlockSize * kBlocksPerSlab;

// A slab's descriptor outlives its memory: a thread may have read `current` just before the slab
// was used up, and its late addition to `cut` must find a counter, not unmapped memory.
struct Slab {
  // Blocks cut so far. At or above kBlocksPerSlab the slab is used up; it stays there while the
  // slab is idle, so that a late addition is refused.
  std::atomic<uint32_t> cut{kBlocksPerSlab};
  // Blocks still to come back, counted down from the whole slab: it can only reach zero when every
  // block has been cut.
  std::atomic<uint32_t> outstanding{0};
  std::byte* memory = nullptr;
  Slab* nextIdle = nullptr;
};

// The first word of every block in use.
struct BlockHeader {
  Slab* slab;
};

constinit std::atomic<Slab*> current{nullptr};
constinit Platform::StaticLock slowPath;  // guards everything below and the change of `current`
constinit Slab* idle = nullptr;
constinit size_t idleWithMemory = 0;
constinit size_t committed = 0;

void FreeMemory(Slab& slab) {
  if (slab.memory != nullptr) {
    Unpoison(slab.memory, kSlabSize);
    Platform::FreePages(slab.memory, kSlabSize);
    slab.memory = nullptr;
    --committed;
  }
}

// Puts a fully returned slab aside; beyond the ones kept ready, its memory goes back at once.
void MakeIdle(Slab& slab) {
  if (idleWithMemory < kIdleSlabsKept) {
    ++idleWithMemory;
  } else {
    FreeMemory(slab);
  }
  // Slabs with memory stand in front, so that they are taken first.
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

// From here on blocks can be cut from `slab`, also by a thread that read it as `current` long ago.
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
    // Looked at first, because a used-up slab must not be counted on for ever while memory is out.
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
