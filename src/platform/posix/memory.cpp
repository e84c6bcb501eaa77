#include "platform/memory.h"

#include <sys/mman.h>

namespace Tav::Platform {

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
