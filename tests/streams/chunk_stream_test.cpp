#include <gtest/gtest.h>

#include <string>

#include "faulty_streams.h"
#include "streams/chunk_stream.h"
#include "streams/filter_stream.h"
#include "streams/memory_stream.h"

namespace Tav {
namespace {

using namespace std::string_literals;

TEST(ChunkOutputStreamTest, FramesOneChunkPerWrite) {
  RecordingOutputStream sink;
  ChunkOutputStream stream(&sink);
  stream.Write(std::string(300, 'p').data(), 300);
  stream.Write("", 0);
  EXPECT_EQ(sink.All(), "\x1C\x2C\x01\x00"s + std::string(300, 'p') + "\x1D\x1C\x00\x00\x00\x1D"s);
}

TEST(ChunkOutputStreamTest, KeepsTheFramingWhenThePayloadIsTooLong) {
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

// The payloads of the chunks in brackets, and how reading them ended.
std::string Chunks(const std::string& bytes) {
  MemoryInputStream memory(bytes.data(), bytes.size());
  BufferedInputStream buffered(&memory, 7);
  ChunkInputStream chunks(&buffered);
  std::vector<uint8_t> payload;
  std::string seen;
  ChunkResult result;
  while ((result = chunks.ReadChunk(payload)) == ChunkResult::Chunk) {
    seen += '[' + std::string(payload.begin(), payload.end()) + ']';
  }
  EXPECT_EQ(chunks.HasError(), result == ChunkResult::Failed || result == ChunkResult::NoEndMark);
  switch (result) {
    case ChunkResult::NoEndMark:
      return seen + std::string(payload.begin(), payload.end()) + ": " + chunks.ErrorText();
    case ChunkResult::CutShort:
      return seen + "cut after " + std::string(payload.begin(), payload.end());
    case ChunkResult::Failed:
      EXPECT_EQ(chunks.ReadChunk(payload), ChunkResult::Failed) << "the failure is kept";
      return seen + chunks.ErrorText();
    default:
      return seen + "end";
  }
}

TEST(ChunkInputStreamTest, NamesEachKindOfDamage) {
  const std::string head = "\x1C\x03\x00\x00"s;
  const std::string whole = head + "abc\x1D";
  EXPECT_EQ(Chunks(""), "end");
  EXPECT_EQ(Chunks(whole + whole), "[abc][abc]end");
  EXPECT_EQ(Chunks(whole + "\n"), "[abc]Beginning of chunk mark expected. Found (0x0a)");
  EXPECT_EQ(Chunks("\x1C"), "Chunk size expected. Found (-1,-1,-1)");
  EXPECT_EQ(Chunks("\x1C\xFF\x01"), "Chunk size expected. Found (255,1,-1)");
  EXPECT_EQ(Chunks(head + "ab"), "cut after ab");
  EXPECT_EQ(Chunks(head + "abc"), "abc: End of chunk mark expected. Found (-1)");
  EXPECT_EQ(Chunks(head + "abcd"), "End of chunk mark expected. Found (100)");
}

TEST(ChunkInputStreamTest, ReportsAFailureOfTheSourceAtEveryOffset) {
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

TEST(ChunkInputStreamTest, AllocatesAsBytesArrive) {
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
