#include "platform/lost_pages.h"

#include <sys/mman.h>

namespace Tav::Testing {

void SetAccess(std::byte* pages, size_t size, bool access) {
  mprotect(pages, size, access ? PROT_READ | PROT_WRITE : PROT_NONE);
}

}  // namespace Tav::Testing
