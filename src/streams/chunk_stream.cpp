#include "streams/chunk_stream.h"

#include <algorithm>

namespace Tav {

namespace {

constexpr size_t kMaxErrorText = 100;
constexpr size_t kGrowthStep = 65536;

}  // namespace

void ChunkOutputStream::Write(const void* buffer, size_t count) {
  count &= kMaxChunkPayload;
  OutputStream* output = Inner();
  output->WriteByte(kChunkBegin);
  output->WriteByte(static_cast<uint8_t>(count));
  output->WriteByte(static_cast<uint8_t>(count >> 8));
  output->WriteByte(static_cast<uint8_t>(count >> 16));
  output->Write(buffer, count);
  output->WriteByte(kChunkEnd);
}

ChunkInputStream::ChunkInputStream(InputStream* inner)
    : FallibleInputStream(inner, kMaxErrorText) {}

ChunkResult ChunkInputStream::ReadPayload(std::vector<uint8_t>& payload) {
  while (payload.size() < wanted_) {
    const size_t before = payload.size();
    const size_t piece = std::min(wanted_ - before, kGrowthStep);
    payload.resize(before + piece);
    const size_t got = Inner()->Read(payload.data() + before, piece);
    if (got < piece) {
      payload.resize(before + got);
      return HasError() ? ChunkResult::Failed : ChunkResult::CutShort;
    }
  }
  return ChunkResult::Chunk;
}

ChunkResult ChunkInputStream::ReadChunk(std::vector<uint8_t>& payload) {
  payload.clear();
  wanted_ = 0;
  if (HasError()) {
    return ChunkResult::Failed;
  }
  const int32_t begin = Inner()->ReadByte();
  if (begin < 0) {
    return HasError() ? ChunkResult::Failed : ChunkResult::End;
  }
  if (begin != kChunkBegin) {
    Fail("Beginning of chunk mark expected. Found (0x%02x)", static_cast<unsigned>(begin));
    return ChunkResult::Failed;
  }
  const int32_t b0 = Inner()->ReadByte();
  const int32_t b1 = Inner()->ReadByte();
  const int32_t b2 = Inner()->ReadByte();
  if (b0 < 0 || b1 < 0 || b2 < 0) {
    Fail("Chunk size expected. Found (%d,%d,%d)", b0, b1, b2);
    return ChunkResult::Failed;
  }
  wanted_ =
      static_cast<size_t>(b0) + 256 * static_cast<size_t>(b1) + 65536 * static_cast<size_t>(b2);
  const ChunkResult result = ReadPayload(payload);
  if (result != ChunkResult::Chunk) {
    return result;
  }
  const int32_t end = Inner()->ReadByte();
  if (end == kChunkEnd) {
    return ChunkResult::Chunk;
  }
  const bool ended = end < 0 && !HasError();
  Fail("End of chunk mark expected. Found (%d)", end);
  return ended ? ChunkResult::NoEndMark : ChunkResult::Failed;
}

}  // namespace Tav
