#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "faulty_streams.h"
#include "platform/file.h"
#include "streams/file_stream.h"
#include "streams/filter_stream.h"
#include "streams/memory_stream.h"
#include "support/temp_folder.h"

namespace Tav {
namespace {

std::string Pattern(size_t length) {
  std::string text;
  for (size_t i = 0; i < length; ++i) {
    text.push_back(static_cast<char>(i * 7 + i / 251));
  }
  return text;
}

TEST(BufferedInputStreamTest, DeliversTheSameBytesInFewReads) {
  const std::string text = "\xFF" + Pattern(9999);
  MemoryInputStream memory(text.data(), text.size());
  BufferedInputStream stream(&memory);
  EXPECT_EQ(stream.PeekByte(), 0xFF);
  EXPECT_EQ(stream.ReadByte(), 0xFF);
  EXPECT_EQ(ReadAll(stream, 999), text.substr(1));
  EXPECT_EQ(stream.ReadByte(), -1);
  // Three with bytes, and one for each of the three calls at the end.
  EXPECT_EQ(stream.RefillCount(), 3u + 3u);
}

TEST(BufferedOutputStreamTest, WritesOnlyWhenFullOrFlushed) {
  RecordingOutputStream sink;
  BufferedOutputStream stream(&sink, 16);
  stream.Write("0123456789abcdef", 16);
  EXPECT_TRUE(sink.writes.empty()) << "written when the next byte needs room";
  stream.WriteByte('g');
  EXPECT_EQ(sink.writes, std::vector<std::string>{"0123456789abcdef"});
  stream.Flush();
  EXPECT_EQ(sink.All(), "0123456789abcdefg");
  EXPECT_EQ(sink.flushes, 1);

  RecordingOutputStream broken(4);
  BufferedOutputStream above(&broken, 8);
  above.Write(Pattern(100).data(), 100);
  EXPECT_EQ(broken.writes.size(), 1u) << "no writes after a failure";
  EXPECT_STREQ(above.ErrorText(), "broken sink");
}

std::vector<std::string> Lines(const std::string& text, size_t piece) {
  MemoryInputStream memory(text.data(), text.size());
  LineInputStream stream(&memory);
  std::vector<std::string> lines;
  while (stream.NextLine()) {
    lines.push_back(ReadAll(stream, piece));
  }
  EXPECT_TRUE(stream.AtEnd());
  return lines;
}

TEST(LineInputStreamTest, EndsLinesAtLfAndCrLfOnly) {
  using Expected = std::vector<std::string>;
  for (const size_t piece : {1u, 64u}) {
    EXPECT_EQ(Lines("", piece), Expected{});
    EXPECT_EQ(Lines("one\ntwo\r\n", piece), (Expected{"one", "two"}));
    EXPECT_EQ(Lines("\n\r\nx", piece), (Expected{"", "", "x"}));
    EXPECT_EQ(Lines("a\rb\r\r\nc\r", piece), (Expected{"a\rb\r", "c\r"}));
  }
  MemoryInputStream memory("first line\nsecond", 17);
  LineInputStream stream(&memory);
  ASSERT_TRUE(stream.NextLine());
  EXPECT_EQ(stream.ReadByte(), 'f');
  ASSERT_TRUE(stream.NextLine()) << "the unread rest of a line is skipped";
  EXPECT_EQ(ReadAll(stream), "second");
}

TEST(FileStreamsTest, RoundTripAndKeepTheFirstFailure) {
  const Testing::TempFolder folder;
  const std::string text = Pattern(9000);
  std::FILE* file = Platform::OpenFile(folder.Path("data").c_str(), "wb");
  ASSERT_NE(file, nullptr);
  FileOutputStream output(file);
  output.Write(text.data(), text.size());
  output.Flush();
  EXPECT_FALSE(output.HasError());
  FileInputStream writeOnly(file);
  EXPECT_EQ(writeOnly.ReadByte(), -1);
  const std::string first = writeOnly.ErrorText();
  EXPECT_TRUE(first.starts_with("File read error: ")) << first;
  EXPECT_GT(first.size(), sizeof("File read error: ") - 1);
  EXPECT_EQ(writeOnly.ReadByte(), -1);
  EXPECT_EQ(first, writeOnly.ErrorText());
  std::fclose(file);

  file = Platform::OpenFile(folder.Path("data").c_str(), "rb");
  ASSERT_NE(file, nullptr);
  FileInputStream input(file);
  EXPECT_EQ(ReadAll(input), text);
  EXPECT_FALSE(input.HasError());
  FileOutputStream readOnly(file);
  readOnly.Write("x", 1);
  readOnly.Flush();
  EXPECT_TRUE(std::string(readOnly.ErrorText()).starts_with("File write error: "));
  std::fclose(file);
}

}  // namespace
}  // namespace Tav
