#include <gtest/gtest.h>

#include <string>

#include "faulty_streams.h"
#include "streams/base64_stream.h"
#include "streams/memory_stream.h"

namespace Tav {
namespace {

std::string Encode(const std::string& data, size_t piece) {
  RecordingOutputStream sink;
  Base64OutputStream base64(&sink);
  for (size_t at = 0; at < data.size(); at += piece) {
    base64.Write(data.data() + at, std::min(piece, data.size() - at));
  }
  base64.Flush();
  EXPECT_EQ(sink.flushes, 1);
  EXPECT_FALSE(base64.HasError());
  return sink.All();
}

struct Decoded {
  std::string data;
  std::string error;
};

Decoded Decode(const std::string& text, size_t piece = 64) {
  MemoryInputStream memory(text.data(), text.size());
  Base64InputStream base64(&memory);
  Decoded decoded;
  decoded.data = ReadAll(base64, piece);
  decoded.error = base64.ErrorText();
  EXPECT_EQ(base64.ReadByte(), -1);
  EXPECT_EQ(base64.HasError(), !decoded.error.empty());
  return decoded;
}

TEST(Base64Streams, MatchTheStandardsExamples) {
  const struct {
    std::string data, text;
  } kExamples[] = {{"", ""},
                   {"f", "Zg=="},
                   {"fo", "Zm8="},
                   {"foo", "Zm9v"},
                   {"foob", "Zm9vYg=="},
                   {"fooba", "Zm9vYmE="},
                   {"foobar", "Zm9vYmFy"},
                   {"\xFB\xFF\xBF", "+/+/"}};
  for (const auto& example : kExamples) {
    for (const size_t piece : {1u, 2u, 64u}) {
      EXPECT_EQ(Encode(example.data, piece), example.text);
      EXPECT_EQ(Decode(example.text, piece).data, example.data);
      EXPECT_EQ(Decode(example.text, piece).error, "");
    }
  }
}

TEST(Base64Streams, RoundTripEveryByteAtEveryPlace) {
  std::string data;
  for (int i = 0; i < 256 * 3 + 1; ++i) {
    data.push_back(static_cast<char>(i));
  }
  EXPECT_EQ(Decode(Encode(data, 5)).data, data);
}

TEST(Base64InputStream, NamesTheDamage) {
  for (const char* text : {"Zm9v\n", "Zm9 ", "Zm-v", "Zm_v", "Zg==!", "Zm9v\xC3\xA4"}) {
    EXPECT_EQ(Decode(text).error, "Bad base-64 character") << text;
  }
  for (const char* text : {"=", "====", "Z===", "Zg=A", "=g==", "Zg==Zg==", "Zm8==", "Zm8=Zm8="}) {
    EXPECT_EQ(Decode(text).error, "Misplaced '=' in base-64") << text;
  }
  for (const char* text : {"Z", "Zg", "Zm8", "Zg=", "Zm9vY"}) {
    EXPECT_EQ(Decode(text).error, "Incomplete base-64") << text;
  }
}

TEST(Base64InputStream, DeliversWhatCameBeforeTheDamage) {
  const Decoded decoded = Decode("Zm9vYm*y");
  EXPECT_EQ(decoded.data, "foo");
  EXPECT_EQ(decoded.error, "Bad base-64 character");
}

TEST(Base64Streams, ReportTheStreamBelow) {
  for (const char* text : {"", "Zm9v", "Zm9vYm", "Zg=="}) {
    FailingInputStream source(text);
    Base64InputStream base64(&source);
    ReadAll(base64);
    EXPECT_STREQ(base64.ErrorText(), "broken source") << text;
  }
  RecordingOutputStream sink(4);
  Base64OutputStream base64(&sink);
  base64.Write("foobarfoobar", 12);
  base64.Flush();
  EXPECT_STREQ(base64.ErrorText(), "broken sink");
  EXPECT_EQ(sink.flushes, 0);
}

TEST(Base64OutputStream, FailsWhenWrittenAfterItsPadding) {
  RecordingOutputStream sink;
  Base64OutputStream base64(&sink);
  base64.Write("f", 1);
  base64.Flush();
  base64.Flush();
  EXPECT_FALSE(base64.HasError());
  base64.Write("o", 1);
  base64.Flush();
  EXPECT_TRUE(base64.HasError());
  EXPECT_EQ(sink.All(), "Zg==");
}

}  // namespace
}  // namespace Tav
