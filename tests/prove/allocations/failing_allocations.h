// Lets allocations of memory fail: operator new, malloc, the allocators of jansson and zlib, and
// the pages that come straight from the system.
#pragma once

#include <cstddef>

namespace Tav::Testing {

enum class AllocatingThread {
  Host,     // the thread that calls this
  Library,  // any other
};

// From now on the allocations are counted, and `count` of them on the threads of `where` fail, from
// the `ordinal`-th on. 0: none. Adds evidence of the first one.
void FailAllocations(AllocatingThread where, int ordinal, int count);
// Adds evidence: the numbers of allocations.
void StopFailing();

}  // namespace Tav::Testing
