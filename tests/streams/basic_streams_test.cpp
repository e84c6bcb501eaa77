#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "faulty_streams.h"
#include "platform/process.h"
#include "streams/buffered_stream.h"
#include "streams/counter_stream.h"
#include "streams/file_stream.h"
#include "streams/line_stream.h"
#include "streams/memory_stream.h"

namespace Tav {
namespace {

std::string Pattern(size_t length) {
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    text.push_back(static_cast<char>(i * 7 + i / 251));
  }
  return text;
}

TEST(MemoryInputStream, DeliversWhatThereIsAndThenNothing) {
  MemoryInputStream stream(
      "\xFF"
      "bcd",
      4);
  EXPECT_EQ(stream.ReadByte(), 0xFF);
  char buffer[10];
  EXPECT_EQ(stream.Read(buffer, sizeof buffer), 3u);
  EXPECT_EQ(std::string(buffer, 3), "bcd");
  EXPECT_EQ(stream.Read(buffer, sizeof buffer), 0u);
  EXPECT_EQ(stream.ReadByte(), -1);
  EXPECT_FALSE(stream.HasError());

  MemoryInputStream empty(nullptr, 0);
  EXPECT_EQ(empty.ReadByte(), -1);
  EXPECT_EQ(empty.Read(buffer, sizeof buffer), 0u);
}

TEST(MemoryOutputStream, JoinsWhatWasWrittenInPiecesOfAnySize) {
  for (const size_t piece : {1u, 1000u, 4096u, 5000u, 20000u}) {
    const std::string text = Pattern(20000);
    MemoryOutputStream stream;
    for (size_t at = 0; at < text.size(); at += piece) {
      const std::string part = text.substr(at, piece);
      stream.Write(part.data(), part.size());
    }
    EXPECT_EQ(stream.Size(), text.size());
    const std::vector<uint8_t> joined = stream.Join();
    EXPECT_EQ(std::string(joined.begin(), joined.end()), text) << piece;
  }
  EXPECT_TRUE(MemoryOutputStream().Join().empty());
}

TEST(BufferedInputStream, DeliversTheSameBytesWithFewReads) {
  const std::string text = Pattern(10000);
  MemoryInputStream memory(text.data(), text.size());
  BufferedInputStream stream(&memory);
  EXPECT_EQ(stream.PeekByte(), static_cast<uint8_t>(text[0]));
  EXPECT_EQ(stream.ReadByte(), static_cast<uint8_t>(text[0]));
  EXPECT_EQ(ReadAll(stream, 999), text.substr(1));
  EXPECT_EQ(stream.ReadByte(), -1);
  EXPECT_EQ(stream.PeekByte(), -1);
  // Three that brought bytes, and one for each of the three calls that met the end.
  EXPECT_EQ(stream.RefillCount(), 3u + 4u);
}

TEST(BufferedOutputStream, WritesWhenFullOrFlushedOnly) {
  RecordingOutputStream sink;
  {
    BufferedOutputStream stream(&sink, 16);
    stream.Write("0123456789", 10);
    EXPECT_TRUE(sink.writes.empty());
    stream.Write("abcdef", 6);
    EXPECT_TRUE(sink.writes.empty()) << "a full buffer waits for the byte that needs room";
    stream.WriteByte('g');
    EXPECT_EQ(sink.writes, std::vector<std::string>{"0123456789abcdef"});
    stream.Flush();
    EXPECT_EQ(sink.All(), "0123456789abcdefg");
    EXPECT_EQ(sink.flushes, 1);
    stream.Write("lost", 4);
    stream.Close();
  }
  EXPECT_EQ(sink.All(), "0123456789abcdefg");
  EXPECT_EQ(sink.closes, 1);
}

TEST(BufferedOutputStream, StopsWritingToABrokenSink) {
  RecordingOutputStream sink(4);
  BufferedOutputStream stream(&sink, 8);
  stream.Write(Pattern(100).data(), 100);
  stream.Flush();
  EXPECT_EQ(sink.writes.size(), 1u);
  EXPECT_TRUE(stream.HasError());
  EXPECT_STREQ(stream.ErrorText(), "broken sink");
}

std::vector<std::string> Lines(const std::string& text, size_t piece) {
  MemoryInputStream memory(text.data(), text.size());
  LineInputStream stream(&memory);
  std::vector<std::string> lines;
  while (stream.NextLine()) {
    lines.push_back(ReadAll(stream, piece));
  }
  EXPECT_TRUE(stream.AtEnd());
  EXPECT_EQ(stream.ReadByte(), -1);
  return lines;
}

TEST(LineInputStream, EndsLinesAtLfAndCrLfOnly) {
  using Expected = std::vector<std::string>;
  for (const size_t piece : {1u, 2u, 64u}) {
    EXPECT_EQ(Lines("", piece), Expected{});
    EXPECT_EQ(Lines("one", piece), Expected{"one"});
    EXPECT_EQ(Lines("one\ntwo\r\n", piece), (Expected{"one", "two"}));
    EXPECT_EQ(Lines("\n\r\nx", piece), (Expected{"", "", "x"}));
    EXPECT_EQ(Lines("a\rb\r\r\nc\r", piece), (Expected{"a\rb\r", "c\r"}));
  }
}

TEST(LineInputStream, SkipsTheUnreadRestOfALine) {
  MemoryInputStream memory("first line\nsecond", 17);
  LineInputStream stream(&memory);
  EXPECT_EQ(stream.ReadByte(), -1) << "before the first NextLine";
  ASSERT_TRUE(stream.NextLine());
  EXPECT_EQ(stream.ReadByte(), 'f');
  ASSERT_TRUE(stream.NextLine());
  EXPECT_EQ(ReadAll(stream), "second");
  EXPECT_FALSE(stream.NextLine());
}

TEST(CounterOutputStream, CountsWithAndWithoutAStreamBelow) {
  CounterOutputStream counter;
  counter.Write("abc", 3);
  counter.WriteByte('d');
  counter.Flush();
  EXPECT_EQ(counter.Count(), 4u);

  RecordingOutputStream sink(5);
  CounterOutputStream forwarding(&sink);
  forwarding.Write("abc", 3);
  forwarding.Flush();
  EXPECT_EQ(sink.All(), "abc");
  EXPECT_EQ(sink.flushes, 1);
  EXPECT_FALSE(forwarding.HasError());
  forwarding.Write("defg", 4);
  EXPECT_EQ(forwarding.Count(), 7u);
  EXPECT_STREQ(forwarding.ErrorText(), "broken sink");
}

class FileStreams : public testing::Test {
 protected:
  void TearDown() override { std::remove(path_.c_str()); }

  // Cases run in processes of their own, several at once.
  const std::string path_ =
      testing::TempDir() + "tav_file_stream_" + std::to_string(Platform::ProcessId());
};

TEST_F(FileStreams, RoundTripThroughACStream) {
  const std::string text = Pattern(9000);
  std::FILE* file = std::fopen(path_.c_str(), "w+b");
  ASSERT_NE(file, nullptr);
  FileOutputStream output(file);
  output.Write(text.data(), text.size());
  output.WriteByte('!');
  output.Flush();
  EXPECT_FALSE(output.HasError());
  std::rewind(file);
  FileInputStream input(file);
  EXPECT_EQ(ReadAll(input), text + "!");
  EXPECT_FALSE(input.HasError());
  std::fclose(file);
}

TEST_F(FileStreams, KeepTheFirstFailure) {
  std::FILE* file = std::fopen(path_.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  FileInputStream input(file);
  EXPECT_EQ(input.ReadByte(), -1);
  EXPECT_TRUE(input.HasError());
  const std::string first = input.ErrorText();
  EXPECT_EQ(first.rfind("File read error: ", 0), 0u) << first;
  EXPECT_GT(first.size(), sizeof("File read error: ") - 1);
  EXPECT_EQ(input.ReadByte(), -1);
  EXPECT_EQ(first, input.ErrorText());
  std::fclose(file);

  file = std::fopen(path_.c_str(), "rb");
  ASSERT_NE(file, nullptr);
  FileOutputStream output(file);
  output.Write("x", 1);
  output.Flush();
  EXPECT_TRUE(output.HasError());
  EXPECT_EQ(std::string(output.ErrorText()).rfind("File write error: ", 0), 0u);
  std::fclose(file);
}

}  // namespace
}  // namespace Tav
