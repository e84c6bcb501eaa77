// Memory for one event: a chain of pool blocks, filled from front to back and released all at once.
// It holds the handle, its texts and its properties, so that an event usually costs one block.
#pragma once

#include <cstddef>

namespace Tav {

// Used by one thread at a time, like its event.
class Arena {
 public:
  // Takes the first block; the arena itself is at its start. Null if memory runs out.
  static Arena* Create();
  // Releases all blocks, that of the arena itself included.
  static void Destroy(Arena* arena);

  // `size` bytes aligned to 8. Null if that is more than a block holds or memory runs out.
  void* Allocate(size_t size);

  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

 private:
  // The start of every block after the first.
  struct Extension {
    Extension* next;
  };

  Arena(std::byte* begin, std::byte* end) : cursor_(begin), end_(end) {}
  bool Grow();

  std::byte* cursor_;
  std::byte* end_;
  Extension* extensions_ = nullptr;
};

// Memory with a tag in front that says where it came from, so that one function frees both heap and
// arena memory.
//
// Aligned to 8. From `arena` if it is not null and has room, else from the heap. Null if memory
// runs out.
void* TaggedAllocate(size_t size, Arena* arena);
// Frees heap memory; arena memory is released with its arena. Null is allowed.
void TaggedFree(void* memory);

}  // namespace Tav
