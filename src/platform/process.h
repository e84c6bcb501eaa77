// The process: identifiers, environment variables and memory pages. Any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Tav::Platform {

int ProcessId() noexcept;
int CurrentProcessor() noexcept;
long CurrentThreadId() noexcept;

// True once the system has killed the process's other threads because the process ends, while DLLs
// still run their static destructors. A lock that a killed thread held is never released. Costs a
// few nanoseconds and keeps the last error. Always false where exit runs them before it stops the
// threads.
bool ProcessEnding() noexcept;

// The value of an environment variable, or nothing if it is not set; it may be set to an empty
// text. UTF-8. Keeps the last error.
std::optional<std::string> Environment(const char* name);

// `size` zeroed bytes, page-aligned, straight from the system without the heap and its lock; null
// if memory runs out.
void* AllocatePages(size_t size) noexcept;
// `pages` may be null.
void FreePages(void* pages, size_t size) noexcept;

}  // namespace Tav::Platform
