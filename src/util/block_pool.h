// Fixed-size memory blocks for event handles, handed out without a lock and without the C
// run-time's heap, whose lock is the one thing that can make a host thread wait for milliseconds.
//
// Blocks are cut in order from slabs of whole pages. A slab's blocks are not reused one by one: the
// slab goes round as a whole once all its blocks have come back, which they do in about the order
// in which they went out, because events are processed in that order. So taking a block is one
// atomic addition, giving it back is one atomic subtraction, and memory that a burst needed returns
// to the system when the burst has been sent. The price: an event that a host keeps for long keeps
// its slab.
#pragma once

#include <cstddef>

namespace Tav::BlockPool {

// An event with up to two properties fits into one block, one with seven into two. While a burst
// waits to be worked off its blocks lie in memory that was never touched before, and the faults on
// those pages are then most of what an event costs the host: larger blocks cost more of them.
inline constexpr size_t kBlockSize = 768;
inline constexpr size_t kBlocksPerSlab = 512;
// Each block begins with a word of the pool's own; the rest is the user's.
inline constexpr size_t kHeaderSize = 16;
inline constexpr size_t kUsableSize = kBlockSize - kHeaderSize;

// kUsableSize bytes, aligned to 16, or null when memory runs out. Any thread.
void* Acquire();
// Gives a block back. Any thread.
void Release(void* block);

// Returns every slab without blocks in use to the system. Only while no other thread is inside
// Acquire or Release.
void Trim();

// Slabs that hold memory at the moment, for tests and measurements.
size_t CommittedSlabs();

}  // namespace Tav::BlockPool
