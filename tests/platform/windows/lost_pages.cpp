#include "platform/lost_pages.h"

#include <windows.h>

namespace Tav::Testing {

void SetAccess(std::byte* pages, size_t size, bool access) {
  DWORD before = 0;
  VirtualProtect(pages, size, access ? PAGE_READWRITE : PAGE_NOACCESS, &before);
}

}  // namespace Tav::Testing
