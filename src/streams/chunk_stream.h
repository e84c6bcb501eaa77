// The framing of records in a cache file. A chunk is the byte 0x1C, the payload's length in three
// bytes with the least significant first, the payload, and the byte 0x1D.
#pragma once

#include <vector>

#include "streams/stream.h"

namespace Tav {

inline constexpr uint8_t kChunkBegin = 0x1C;
inline constexpr uint8_t kChunkEnd = 0x1D;
inline constexpr size_t kMaxChunkPayload = 0xFFFFFF;
// What a chunk adds to its payload.
inline constexpr size_t kChunkOverhead = 5;

// One call of Write is one chunk.
class ChunkOutputStream : public FilterOutputStream {
 public:
  explicit ChunkOutputStream(OutputStream* inner) : FilterOutputStream(inner) {}

  // A count above kMaxChunkPayload is cut to its low 24 bits and as many bytes are written, so that
  // the chunks that follow stay readable: the caller keeps payloads within the limit.
  void Write(const void* buffer, size_t count) override;
};

enum class ChunkResult {
  Chunk,     // a whole payload with both marks
  End,       // the stream ended where a chunk would begin
  CutShort,  // the stream ended within a payload; no error text
  Failed,    // the framing is broken or the stream below failed: see ErrorText
};

class ChunkInputStream : public FallibleInputStream {
 public:
  explicit ChunkInputStream(InputStream* inner);

  // Reads the next chunk into `payload`, replacing what it held. Memory grows with the bytes that
  // arrive, not with the length that the chunk claims. After CutShort `payload` is what there was
  // of WantedBytes(); after Failed its contents have no meaning. Throws std::bad_alloc.
  ChunkResult ReadChunk(std::vector<uint8_t>& payload);
  // The payload length that the last chunk claimed.
  size_t WantedBytes() const { return wanted_; }

  // The bytes themselves, marks and lengths included.
  int32_t ReadByte() override { return Inner()->ReadByte(); }
  size_t Read(void* buffer, size_t count) override { return Inner()->Read(buffer, count); }

 private:
  ChunkResult ReadPayload(std::vector<uint8_t>& payload);

  size_t wanted_ = 0;
};

}  // namespace Tav
