// Memory that lives as long as one event: a chain of pool blocks, filled front to back and given
// back all at once. The handle, its texts and its JSON properties all stand in it, so that building
// an event takes one block from the pool and freeing it gives one back.
#pragma once

#include <cstddef>

namespace Tav {

// Belongs to one thread at a time, like the event it serves.
class Arena {
 public:
  // Takes a first block and places the arena at its start. Null when memory runs out.
  static Arena* Create();
  // Gives every block back, the one that holds the arena itself included.
  static void Destroy(Arena* arena);

  // `size` bytes aligned to 8, or null when they cannot be had here: more than a block holds, or
  // memory runs out. Never freed one by one.
  void* Allocate(size_t size);

  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

 private:
  // Stands at the start of every block after the first.
  struct Extension {
    Extension* next;
  };

  Arena(std::byte* begin, std::byte* end) : cursor_(begin), end_(end) {}
  bool Grow();

  std::byte* cursor_;
  std::byte* end_;
  Extension* extensions_ = nullptr;
};

// Allocation with a mark in front that says where the memory came from, so that one free function
// serves both the heap and arenas. Aligned to 8. This is what jansson allocates with, too.
//
// From `arena` when it is not null and has room, else from the heap; null when memory runs out.
void* TaggedAllocate(size_t size, Arena* arena);
// Frees heap memory; memory of an arena waits for the arena. Null is allowed.
void TaggedFree(void* memory);

// While it exists, JSON values made on this thread stand in `arena`. Free of cost when the library
// holds no thread-local slot (before initialisation): values then come from the heap.
class ArenaScope {
 public:
  explicit ArenaScope(Arena* arena);
  ~ArenaScope();
  ArenaScope(const ArenaScope&) = delete;
  ArenaScope& operator=(const ArenaScope&) = delete;

 private:
  void* previous_ = nullptr;
};

// Makes jansson allocate through the functions above. Cheap after the first call. Must have run
// before the first JSON value of the process is made: every creator of values calls it.
void UseArenasForJson();

// Takes and gives back the thread-local slot behind ArenaScope. Only while no other thread is
// inside the library: at initialisation and, the session thread having ended, at termination.
void AcquireArenaSlot();
void ReleaseArenaSlot();

}  // namespace Tav
