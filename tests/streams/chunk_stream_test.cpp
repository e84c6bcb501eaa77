#include <gtest/gtest.h>

#include <string>

#include "faulty_streams.h"
#include "streams/buffered_stream.h"
#include "streams/chunk_stream.h"
#include "streams/memory_stream.h"

namespace Tav {
namespace {

using namespace std::string_literals;

TEST(ChunkOutputStream, FramesOneChunkPerWrite) {
  RecordingOutputStream sink;
  ChunkOutputStream stream(&sink);
  stream.Write(std::string(300, 'p').data(), 300);
  stream.Write("", 0);
  EXPECT_EQ(sink.All(), "\x1C\x2C\x01\x00"s + std::string(300, 'p') + "\x1D\x1C\x00\x00\x00\x1D"s);
}

TEST(ChunkOutputStream, KeepsTheFramingWhenThePayloadIsTooLong) {
  const std::string payload(kMaxChunkPayload + 4, 'x');
  MemoryOutputStream sink;
  ChunkOutputStream stream(&sink);
  stream.Write(payload.data(), payload.size());
  EXPECT_EQ(sink.Size(), 3 + kChunkOverhead);
  stream.Write(payload.data(), kMaxChunkPayload);

  const std::vector<uint8_t> bytes = sink.Join();
  MemoryInputStream source(bytes.data(), bytes.size());
  ChunkInputStream chunks(&source);
  std::vector<uint8_t> read;
  EXPECT_EQ(chunks.ReadChunk(read), ChunkResult::Chunk);
  EXPECT_EQ(read.size(), 3u);
  EXPECT_EQ(chunks.ReadChunk(read), ChunkResult::Chunk);
  EXPECT_EQ(read.size(), kMaxChunkPayload);
  EXPECT_EQ(chunks.ReadChunk(read), ChunkResult::End);
}

struct Outcome {
  ChunkResult result;
  std::string payload;
  std::string errorText;
  bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  return out << static_cast<int>(outcome.result) << " '" << outcome.payload << "' '"
             << outcome.errorText << "'";
}

// The first result of reading `bytes` that is not a whole chunk.
Outcome LastResult(const std::string& bytes, size_t* chunkCount = nullptr) {
  MemoryInputStream memory(bytes.data(), bytes.size());
  BufferedInputStream buffered(&memory, 7);
  ChunkInputStream chunks(&buffered);
  std::vector<uint8_t> payload;
  ChunkResult result;
  for (size_t count = 0; (result = chunks.ReadChunk(payload)) == ChunkResult::Chunk; ++count) {
    EXPECT_EQ(payload.size(), chunks.WantedBytes());
    if (chunkCount) {
      *chunkCount = count + 1;
    }
  }
  EXPECT_EQ(chunks.HasError(), result == ChunkResult::Failed);
  if (result == ChunkResult::Failed) {
    return {result, "", chunks.ErrorText()};
  }
  return {result, std::string(payload.begin(), payload.end()), chunks.ErrorText()};
}

TEST(ChunkInputStream, NamesEachKindOfDamage) {
  const std::string whole =
      "\x1C\x03\x00\x00"
      "abc\x1D"s;
  size_t count = 0;
  EXPECT_EQ(LastResult(whole + whole, &count), (Outcome{ChunkResult::End, "", ""}));
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(LastResult(""), (Outcome{ChunkResult::End, "", ""}));
  EXPECT_EQ(LastResult(whole + "\x0A"),
            (Outcome{ChunkResult::Failed, "", "Beginning of chunk mark expected. Found (0x0a)"}));
  EXPECT_EQ(LastResult("\x1C"s),
            (Outcome{ChunkResult::Failed, "", "Chunk size expected. Found (-1,-1,-1)"}));
  EXPECT_EQ(LastResult("\x1C\xFF\x01"s),
            (Outcome{ChunkResult::Failed, "", "Chunk size expected. Found (255,1,-1)"}));
  EXPECT_EQ(LastResult("\x1C\x03\x00\x00"
                       "ab"s),
            (Outcome{ChunkResult::CutShort, "ab", ""}));
  EXPECT_EQ(LastResult("\x1C\x03\x00\x00"
                       "abc"s),
            (Outcome{ChunkResult::Failed, "", "End of chunk mark expected. Found (-1)"}));
  EXPECT_EQ(LastResult("\x1C\x03\x00\x00"
                       "abcd"s),
            (Outcome{ChunkResult::Failed, "", "End of chunk mark expected. Found (100)"}));
}

TEST(ChunkInputStream, StaysFailed) {
  const std::string bytes = "x\x1C\x00\x00\x00\x1D"s;
  MemoryInputStream memory(bytes.data(), bytes.size());
  ChunkInputStream chunks(&memory);
  std::vector<uint8_t> payload;
  EXPECT_EQ(chunks.ReadChunk(payload), ChunkResult::Failed);
  EXPECT_EQ(chunks.ReadChunk(payload), ChunkResult::Failed);
  EXPECT_STREQ(chunks.ErrorText(), "Beginning of chunk mark expected. Found (0x78)");
}

TEST(ChunkInputStream, ReportsAFailingSourceAtEveryPlace) {
  const std::string whole =
      "\x1C\x03\x00\x00"
      "abc\x1D"s;
  for (size_t length = 0; length < whole.size(); ++length) {
    FailingInputStream source(whole.substr(0, length));
    ChunkInputStream chunks(&source);
    std::vector<uint8_t> payload;
    EXPECT_EQ(chunks.ReadChunk(payload), ChunkResult::Failed) << length;
    EXPECT_STREQ(chunks.ErrorText(), "broken source") << length;
  }
}

TEST(ChunkInputStream, TakesNoMoreMemoryThanBytesArrive) {
  const std::string bytes =
      "\x1C\xFF\xFF\xFF"
      "0123456789"s;
  MemoryInputStream memory(bytes.data(), bytes.size());
  ChunkInputStream chunks(&memory);
  std::vector<uint8_t> payload;
  EXPECT_EQ(chunks.ReadChunk(payload), ChunkResult::CutShort);
  EXPECT_EQ(chunks.WantedBytes(), kMaxChunkPayload);
  EXPECT_EQ(payload.size(), 10u);
  EXPECT_LE(payload.capacity(), 128u * 1024);
}

}  // namespace
}  // namespace Tav
