// The framing of records in a cache file. A chunk is the byte 0x1C, the payload's length in three
// bytes (little-endian), the payload and the byte 0x1D.
#pragma once

#include <vector>

#include "streams/stream.h"

namespace Tav {

inline constexpr uint8_t kChunkBegin = 0x1C;
inline constexpr uint8_t kChunkEnd = 0x1D;
inline constexpr size_t kMaxChunkPayload = 0xFFFFFF;
// Bytes that a chunk adds to its payload.
inline constexpr size_t kChunkOverhead = 5;

// Each Write is one chunk.
class ChunkOutputStream : public FilterOutputStream {
 public:
  explicit ChunkOutputStream(OutputStream* inner) : FilterOutputStream(inner) {}

  // The caller keeps `count` within kMaxChunkPayload. A larger count is cut to its low 24 bits, so
  // that later chunks stay readable.
  void Write(const void* buffer, size_t count) override;
};

enum class ChunkResult {
  Chunk,      // a complete chunk
  End,        // the stream ended after a complete chunk
  NoEndMark,  // a whole payload, but the stream ended before its end mark; see ErrorText
  CutShort,   // the stream ended within a payload; there is no error text
  Failed,     // the framing is damaged or the stream below failed; see ErrorText
};

class ChunkInputStream : public FallibleInputStream {
 public:
  explicit ChunkInputStream(InputStream* inner);

  // Replaces `payload` with the next chunk's. Memory grows with the bytes that arrive, not with the
  // length that the chunk claims. After CutShort `payload` has the first of WantedBytes() bytes;
  // after Failed it is undefined. Throws std::bad_alloc.
  ChunkResult ReadChunk(std::vector<uint8_t>& payload);
  // The payload length in the last chunk's header.
  size_t WantedBytes() const { return wanted_; }

  // The raw bytes, with marks and lengths.
  int32_t ReadByte() override { return Inner()->ReadByte(); }
  size_t Read(void* buffer, size_t count) override { return Inner()->Read(buffer, count); }

 private:
  ChunkResult ReadPayload(std::vector<uint8_t>& payload);

  size_t wanted_ = 0;
};

}  // namespace Tav
