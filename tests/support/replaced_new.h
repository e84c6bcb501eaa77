// Replaces operator new of a test program, to count allocations or to let them fail. One source of
// a program includes it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

// Sanitizers replace operator new themselves.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
#define TAV_REPLACES_NEW 0
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
#define TAV_REPLACES_NEW 0
#endif
#endif
#ifndef TAV_REPLACES_NEW
#define TAV_REPLACES_NEW 1
#endif

#if TAV_REPLACES_NEW

namespace Tav::Testing {

// Called before each allocation with its size, on the allocating thread; throws to let it fail.
// Null at first.
inline constinit std::atomic<void (*)(size_t)> onAllocation{nullptr};

}  // namespace Tav::Testing

// The other forms of operator new call this one.
void* operator new(size_t size) {
  if (const auto hook = Tav::Testing::onAllocation.load(std::memory_order_acquire)) {
    hook(size);
  }
  if (void* const memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}

#endif  // TAV_REPLACES_NEW
