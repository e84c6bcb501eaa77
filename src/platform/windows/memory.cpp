#include "platform/memory.h"

#include <windows.h>

namespace Tav::Platform {

void* AllocatePages(size_t size) {
  return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void FreePages(void* pages, size_t) {
  if (pages) {
    VirtualFree(pages, 0, MEM_RELEASE);
  }
}

}  // namespace Tav::Platform
