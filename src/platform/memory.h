// Whole pages from the operating system, past the C run-time's heap and its lock.
#pragma once

#include <cstddef>

namespace Tav::Platform {

// `size` zeroed bytes aligned to a page, or null. Costs a system call.
void* AllocatePages(size_t size);
void FreePages(void* pages, size_t size);

}  // namespace Tav::Platform
