#include "platform/process.h"

#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace Tav::Platform {

int ProcessId() {
  return static_cast<int>(getpid());
}

int CurrentProcessor() {
  return sched_getcpu();
}

long CurrentThreadId() {
  return static_cast<long>(gettid());
}

bool ProcessEnding() {
  return false;
}

std::optional<std::string> Environment(const char* name) {
  const char* const value = std::getenv(name);
  if (!value) {
    return std::nullopt;
  }
  return std::string(value);
}

void* AllocatePages(size_t size) {
  void* const pages =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}

void FreePages(void* pages, size_t size) {
  if (pages) {
    munmap(pages, size);
  }
}

}  // namespace Tav::Platform
