// Tells AddressSanitizer which pooled memory is in nobody's hands; nothing in other builds.
#pragma once

#include <cstddef>

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

namespace Tav {

inline void Poison([[maybe_unused]] const void* memory, [[maybe_unused]] size_t size) {
#ifdef TAV_ADDRESS_SANITIZER
  __asan_poison_memory_region(memory, size);
#endif
}

inline void Unpoison([[maybe_unused]] const void* memory, [[maybe_unused]] size_t size) {
#ifdef TAV_ADDRESS_SANITIZER
  __asan_unpoison_memory_region(memory, size);
#endif
}

}  // namespace Tav
