// The head of a journal file: the format, the start of the run, and the run block and the cache
// note, which are replaced during the run. Each of these two has two slots. A write goes to the
// older slot, so a process that dies meanwhile leaves the newer one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Tav {

// A head is a multiple of this.
inline constexpr size_t kHeadUnit = size_t{64} << 10;

// How much of a cache file is consumed. Without this note, the whole file would be sent again after
// a crash.
struct CacheNote {
  uint32_t fileSequence = 0;
  uint64_t acceptedBytes = 0;
  uint64_t checksum = 0;  // of these bytes
};

// Borrows the memory, which is aligned to eight. If a page of it cannot be loaded, a write has no
// effect and a read finds nothing.
class JournalHead {
 public:
  // The size for a run block of so many bytes, with room for it to grow.
  static size_t SizeFor(size_t runBlockSize);
  // The head at the start of a file; nothing if its format is not known or it is damaged.
  static std::optional<JournalHead> Read(std::span<std::byte> file);
  // Whether the process died before it had begun a head.
  static bool IsMissing(std::span<const std::byte> file);
  // Begins a head in `memory`, which is zero; milliseconds since 1970. The magic number comes last.
  static JournalHead Create(std::span<std::byte> memory, int64_t startTime);

  size_t Size() const { return memory_.size(); }
  int64_t StartTime() const;

  // False if the block is too large.
  bool WriteRunBlock(std::span<const std::byte> block);
  // Empty if there is none or it is damaged.
  std::vector<std::byte> RunBlockBytes() const;

  void WriteCacheNote(const CacheNote& note);
  std::optional<CacheNote> ReadCacheNote() const;

 private:
  explicit JournalHead(std::span<std::byte> memory) : memory_(memory) {}

  std::span<std::byte> memory_;
};

}  // namespace Tav
