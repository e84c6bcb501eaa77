// Fixed-size memory blocks for event handles, allocated without a lock and without the C run-time's
// heap, whose lock can block a host thread for milliseconds.
//
// Blocks are cut in order from slabs of whole pages. A slab is recycled only after all its blocks
// are released, which happens in about the order of allocation because events are processed in that
// order. Acquire is therefore one atomic addition and Release one atomic subtraction, and the
// memory of a burst returns to the system when the burst has been sent. The price: an event that a
// host keeps for a long time keeps its slab.
#pragma once

#include <cstddef>

namespace Tav::BlockPool {

// An event with up to two properties fits into one block, one with seven into two. The blocks of a
// burst are memory that was never touched before, and their page faults are most of the cost of an
// event: larger blocks have more of them.
inline constexpr size_t kBlockSize = 768;
inline constexpr size_t kBlocksPerSlab = 512;
// The pool's header at the start of each block.
inline constexpr size_t kHeaderSize = 16;
inline constexpr size_t kUsableSize = kBlockSize - kHeaderSize;

// kUsableSize bytes, aligned to 16; null if memory runs out. Any thread.
void* Acquire();
// Any thread.
void Release(void* block);

// Returns every slab without blocks in use to the system. No other thread may be inside Acquire or
// Release.
void Trim();

// The number of slabs that hold memory, for tests and measurements.
size_t CommittedSlabs();

}  // namespace Tav::BlockPool
