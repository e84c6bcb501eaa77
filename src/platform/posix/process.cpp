#include "platform/process.h"

#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace Tav::Platform {

int ProcessId() noexcept {
  return static_cast<int>(getpid());
}

int CurrentProcessor() noexcept {
  return sched_getcpu();
}

long CurrentThreadId() noexcept {
  return static_cast<long>(gettid());
}

bool ProcessEnding() noexcept {
  return false;
}

std::optional<std::string> Environment(const char* name) {
  const char* const value = std::getenv(name);
  if (!value) {
    return std::nullopt;
  }
  return std::string(value);
}

void* AllocatePages(size_t size) noexcept {
  void* const pages =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}

void FreePages(void* pages, size_t size) noexcept {
  if (pages) {
    munmap(pages, size);
  }
}

}  // namespace Tav::Platform
