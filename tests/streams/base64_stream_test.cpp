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
  WriteInPieces(base64, data, piece);
  base64.Flush();
  return sink.All();
}

struct Decoded {
  std::string data;
  std::string error;
};

Decoded Decode(const std::string& text, size_t piece = 64) {
  MemoryInputStream memory(text.data(), text.size());
  Base64InputStream base64(&memory);
  std::string data = ReadAll(base64, piece);
  return {std::move(data), base64.ErrorText()};
}

TEST(Base64StreamsTest, MatchTheExamplesOfTheStandard) {
  const struct {
    std::string data, text;
  } kExamples[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foobar", "Zm9vYmFy"}, {"\xFB\xFF\xBF", "+/+/"}};
  for (const auto& example : kExamples) {
    for (const size_t piece : {1u, 2u, 64u}) {
      EXPECT_EQ(Encode(example.data, piece), example.text);
      EXPECT_EQ(Decode(example.text, piece).data, example.data);
      EXPECT_EQ(Decode(example.text, piece).error, "");
    }
  }
  std::string everyByteAtEveryPlace;
  for (int i = 0; i < 256 * 3 + 1; ++i) {
    everyByteAtEveryPlace.push_back(static_cast<char>(i));
  }
  EXPECT_EQ(Decode(Encode(everyByteAtEveryPlace, 5)).data, everyByteAtEveryPlace);
}

TEST(Base64InputStreamTest, NamesTheDamageAndDeliversTheBytesBeforeIt) {
  for (const char* text : {"Zm9v\n", "Zm9 ", "Zm-v", "Zg==!", "Zm9v\xC3\xA4"}) {
    EXPECT_EQ(Decode(text).error, "Bad base-64 character") << text;
  }
  for (const char* text : {"====", "Z===", "Zg=A", "=g==", "Zg==Zg==", "Zm8=="}) {
    EXPECT_EQ(Decode(text).error, "Misplaced '=' in base-64") << text;
  }
  for (const char* text : {"Z", "Zg", "Zg=", "Zm9vY"}) {
    EXPECT_EQ(Decode(text).error, "Incomplete base-64") << text;
  }
  EXPECT_EQ(Decode("Zm9vYm*y").data, "foo");
}

TEST(Base64StreamsTest, ReportTheStreamBelow) {
  for (const char* text : {"", "Zm9vYm", "Zg=="}) {
    FailingInputStream source(text);
    Base64InputStream base64(&source);
    ReadAll(base64);
    EXPECT_STREQ(base64.ErrorText(), "broken source") << text;
  }
}

}  // namespace
}  // namespace Tav
