// The process and the calling thread: identifiers, environment, memory pages.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Tav::Platform {

int ProcessId();
int CurrentProcessor();
long CurrentThreadId();

// The value of an environment variable, or nothing when it is not set; a variable set to nothing
// gives an empty text. UTF-8 in and out. Keeps the last error.
std::optional<std::string> Environment(const char* name);

// Whole pages from the operating system: no heap, no heap lock.
// `size` zeroed bytes aligned to a page, or null. Costs a system call.
void* AllocatePages(size_t size);
void FreePages(void* pages, size_t size);

}  // namespace Tav::Platform
