// Memory for objects behind handles that a host may pass again after they were freed. It is never
// returned to the system and is reused late, so that a spent handle can be looked at and is not
// taken for a new one.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>

#include "platform/thread.h"

namespace Tav {

// For variables with static storage, which need neither construction nor destruction at run time.
// Any thread. Holds as many slots as were live at the same time, and kMinSpent more, rounded up.
template <typename Object>
class HandlePool {
 public:
  // Slots that were released rest until so many others have been released after them.
  static constexpr size_t kMinSpent = 32;
  // Slots that need no memory of the heap.
  static constexpr size_t kFirstSlots = 64;

  constexpr HandlePool() = default;
  HandlePool(const HandlePool&) = delete;
  HandlePool& operator=(const HandlePool&) = delete;

  // Memory for one object, live until it is claimed or released. Null if memory runs out.
  void* Acquire() {
    const std::lock_guard guard(lock_);
    Slot* const slot = TakeSlot();
    if (slot == nullptr) {
      return nullptr;
    }
    ++liveCount_;
    slot->live.store(true, std::memory_order_release);
    return slot->object;
  }

  // Whether the pointer is a live object of this pool. Takes any pointer and no lock.
  bool IsLive(const void* pointer) {
    const Slot* const slot = Find(pointer);
    return slot != nullptr && slot->live.load(std::memory_order_acquire);
  }

  // The same, and ends the object's life: only one caller gets true. That caller destroys the
  // object and releases its memory.
  bool Claim(const void* pointer) {
    Slot* const slot = Find(pointer);
    return slot != nullptr && slot->live.exchange(false, std::memory_order_acq_rel);
  }

  // Takes memory back. Its content stays as it is until the memory is used again.
  void Release(void* memory) {
    Slot* const slot = Find(memory);
    const std::lock_guard guard(lock_);
    slot->live.store(false, std::memory_order_release);
    (newestSpent_ == nullptr ? oldestSpent_ : newestSpent_->next) = slot;
    newestSpent_ = slot;
    ++spentCount_;
    --liveCount_;
  }

  // For tests. LiveCount includes what is claimed but not released.
  size_t LiveCount() {
    const std::lock_guard guard(lock_);
    return liveCount_;
  }
  size_t Capacity() {
    const std::lock_guard guard(lock_);
    size_t slots = 0;
    for (int i = 0; i <= grownCount_.load(std::memory_order_relaxed); ++i) {
      slots += SlotsIn(i);
    }
    return slots;
  }

 private:
  struct Slot {
    alignas(Object) std::byte object[sizeof(Object)] = {};
    Slot* next = nullptr;
    std::atomic<bool> live{false};
  };

  static constexpr int kMaxGrown = 24;

  // Each slab after the second is as large as all before it.
  static constexpr size_t SlotsIn(int slab) {
    return slab == 0 ? kFirstSlots : kFirstSlots << (slab - 1);
  }
  Slot* SlabAt(int slab) { return slab == 0 ? first_ : grown_[slab - 1]; }

  Slot* Find(const void* pointer) {
    const auto address = reinterpret_cast<uintptr_t>(pointer);
    const int newest = grownCount_.load(std::memory_order_acquire);
    for (int i = 0; i <= newest; ++i) {
      const uintptr_t offset = address - reinterpret_cast<uintptr_t>(SlabAt(i));
      if (offset < SlotsIn(i) * sizeof(Slot)) {
        return offset % sizeof(Slot) == 0 ? SlabAt(i) + offset / sizeof(Slot) : nullptr;
      }
    }
    return nullptr;
  }

  // With the lock held: a slot that is in no list. Null if memory runs out.
  Slot* TakeSlot() {
    if (spentCount_ > kMinSpent) {
      return TakeOldestSpent();
    }
    const int newest = grownCount_.load(std::memory_order_relaxed);
    if (cut_ < SlotsIn(newest)) {
      return SlabAt(newest) + cut_++;
    }
    return Grow() ? TakeSlot() : TakeOldestSpent();
  }

  Slot* TakeOldestSpent() {
    Slot* const slot = oldestSpent_;
    if (slot != nullptr) {
      oldestSpent_ = slot->next;
      slot->next = nullptr;
      if (oldestSpent_ == nullptr) {
        newestSpent_ = nullptr;
      }
      --spentCount_;
    }
    return slot;
  }

  bool Grow() {
    const int grown = grownCount_.load(std::memory_order_relaxed);
    Slot* const slots = grown < kMaxGrown ? new (std::nothrow) Slot[SlotsIn(grown + 1)] : nullptr;
    if (slots == nullptr) {
      return false;
    }
    grown_[grown] = slots;
    cut_ = 0;
    grownCount_.store(grown + 1, std::memory_order_release);
    return true;
  }

  // All zero at first, so that the variable takes no room in the DLL's file.
  Slot first_[kFirstSlots] = {};
  Slot* grown_[kMaxGrown] = {};  // never freed; complete up to grownCount_
  std::atomic<int> grownCount_{0};
  Platform::StaticLock lock_;  // guards the variables below
  size_t cut_ = 0;             // slots of the newest slab that were in use before
  Slot* oldestSpent_ = nullptr;
  Slot* newestSpent_ = nullptr;
  size_t spentCount_ = 0;
  size_t liveCount_ = 0;
};

}  // namespace Tav
