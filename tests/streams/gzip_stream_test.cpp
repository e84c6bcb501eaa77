#include <gtest/gtest.h>

#include <random>
#include <string>

#include "faulty_streams.h"
#include "streams/gzip_stream.h"
#include "streams/memory_stream.h"

namespace Tav {
namespace {

// Incompressible, to fill the 4,096-byte buffers many times.
std::string Noise(size_t length) {
  std::mt19937 random(20210304);
  std::string noise;
  for (size_t i = 0; i < length; ++i) {
    noise.push_back(static_cast<char>(random()));
  }
  return noise;
}

std::string Compress(const std::string& text, size_t piece = 4096) {
  RecordingOutputStream sink;
  GZipOutputStream gzip(&sink);
  WriteInPieces(gzip, text, piece);
  gzip.Flush();
  EXPECT_FALSE(gzip.HasError()) << gzip.ErrorText();
  return sink.All();
}

struct Expanded {
  std::string text;
  std::string error;
  bool complete;
};

Expanded Expand(const std::string& bytes, size_t piece = 1024) {
  MemoryInputStream memory(bytes.data(), bytes.size());
  GZipInputStream gzip(&memory);
  std::string text = ReadAll(gzip, piece);
  return {std::move(text), gzip.ErrorText(), gzip.Complete()};
}

TEST(GZipStreamsTest, RoundTrip) {
  for (const std::string& text : {std::string(), std::string(1 << 20, 'a'), Noise(50000)}) {
    for (const size_t piece : {1u, 700u, 1u << 20}) {
      const Expanded expanded = Expand(Compress(text, piece), piece);
      EXPECT_TRUE(expanded.text == text) << text.size();
      EXPECT_EQ(expanded.error, "");
      EXPECT_TRUE(expanded.complete);
    }
  }
}

TEST(GZipOutputStreamTest, WritesOneMemberOfTheBestCompressionInWholeBuffers) {
  RecordingOutputStream sink;
  GZipOutputStream gzip(&sink);
  const std::string noise = Noise(20000);
  gzip.Write(noise.data(), noise.size());
  for (const std::string& write : sink.writes) {
    EXPECT_EQ(write.size(), 4096u);
  }
  EXPECT_EQ(sink.flushes, 0);
  gzip.Flush();
  EXPECT_EQ(sink.flushes, 1);
  const std::string member = sink.All();
  EXPECT_EQ(member.substr(0, 4), std::string("\x1F\x8B\x08\x00", 4));
  EXPECT_EQ(member[8], '\x02') << "the flag of the setting with the smallest output";

  gzip.Flush();
  EXPECT_FALSE(gzip.HasError());
  gzip.Write("more", 4);
  EXPECT_STREQ(gzip.ErrorText(), "GZip deflate error -2");
  EXPECT_EQ(sink.All(), member);
}

TEST(GZipInputStreamTest, DetectsEveryTruncation) {
  const std::string text = Noise(300) + std::string(3000, 'z');
  const std::string whole = Compress(text);
  for (size_t length = 0; length < whole.size(); ++length) {
    const Expanded expanded = Expand(whole.substr(0, length), 64);
    EXPECT_EQ(expanded.error, "GZip inflate error -5") << length;
    EXPECT_FALSE(expanded.complete) << length;
    EXPECT_TRUE(text.starts_with(expanded.text)) << length;
  }
}

TEST(GZipInputStreamTest, RejectsDamagedAndForeignData) {
  EXPECT_EQ(Expand("plain text, not a member").error, "GZip inflate error -3");
  std::string damaged = Compress("0123456789");
  damaged[damaged.size() - 6] ^= 1;
  const Expanded expanded = Expand(damaged);
  EXPECT_EQ(expanded.error, "GZip inflate error -3");
  EXPECT_EQ(expanded.text, "") << "the read that finds the damage delivers nothing";
  EXPECT_EQ(Expand(Compress("first") + Compress("second")).text, "first");
}

TEST(GZipInputStreamTest, RejectsTextsOfMoreThan16Megabytes) {
  const std::string most(16 << 20, 'z');
  EXPECT_TRUE(Expand(Compress(most, most.size())).complete);
  for (const size_t piece : {size_t{700}, 2 * most.size()}) {
    const Expanded expanded = Expand(Compress(most + 'z', most.size()), piece);
    EXPECT_EQ(expanded.error, "GZip text beyond 16777216 bytes");
    EXPECT_FALSE(expanded.complete);
    EXPECT_LE(expanded.text.size(), most.size());
  }
}

TEST(GZipStreamsTest, ReportTheStreamBelowAndStop) {
  RecordingOutputStream sink(5000);
  GZipOutputStream output(&sink);
  const std::string noise = Noise(50000);
  output.Write(noise.data(), noise.size());
  output.Flush();
  EXPECT_STREQ(output.ErrorText(), "broken sink");
  EXPECT_EQ(sink.writes.size(), 2u);
  EXPECT_EQ(sink.flushes, 0);

  FailingInputStream source(Compress("text").substr(0, 8));
  GZipInputStream input(&source);
  EXPECT_EQ(input.ReadByte(), -1);
  EXPECT_STREQ(input.ErrorText(), "broken source");
}

}  // namespace
}  // namespace Tav
