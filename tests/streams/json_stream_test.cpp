#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "faulty_streams.h"
#include "streams/chunk_stream.h"
#include "streams/filter_stream.h"
#include "streams/gzip_stream.h"
#include "streams/json_stream.h"
#include "streams/memory_stream.h"

namespace Tav {
namespace {

JsonPtr Parse(const std::string& text, std::string* error = nullptr) {
  MemoryInputStream memory(text.data(), text.size());
  JsonInputStream json(&memory);
  JsonPtr value = json.ReadValue();
  EXPECT_EQ(json.HasError(), !value);
  if (error) {
    *error = json.ErrorText();
  }
  return value;
}

std::string Print(const json_t* value, size_t flags) {
  RecordingOutputStream sink;
  JsonOutputStream json(&sink, flags);
  EXPECT_TRUE(json.WriteValue(value)) << json.ErrorText();
  return sink.All();
}

TEST(JsonInputStream, RejectsWhatIsNotOneValue) {
  for (const char* text :
       {"", "{", "{\"a\":1,}", "{} {}", "{\"a\":1,\"a\":2}", "nonsense", "{\"a\":\"\xFF\"}"}) {
    std::string error;
    EXPECT_FALSE(Parse(text, &error)) << text;
    EXPECT_EQ(error, "Bad JSON value") << text;
  }
  EXPECT_FALSE(Parse(std::string(1 << 20, '['))) << "bounded nesting";
}

TEST(JsonStreams, ReportTheStreamBelowAndAValueThatIsNoDocument) {
  for (const char* text : {"", "{\"a\":", "{}"}) {
    FailingInputStream source(text);
    JsonInputStream json(&source);
    EXPECT_FALSE(json.ReadValue()) << text;
    EXPECT_STREQ(json.ErrorText(), "broken source") << text;
  }
  RecordingOutputStream broken(3);
  JsonOutputStream above(&broken, JSON_COMPACT);
  EXPECT_FALSE(above.WriteValue(Parse("[1,2,3,4,5,6]").Get()));
  EXPECT_STREQ(above.ErrorText(), "broken sink");
  EXPECT_EQ(broken.All(), "[1,2") << "no writes after a failure";

  RecordingOutputStream sink;
  JsonOutputStream json(&sink, JSON_COMPACT);
  EXPECT_FALSE(json.WriteValue(nullptr));
  EXPECT_STREQ(json.ErrorText(), "Bad JSON value");
}

TEST(JsonStreams, NumbersIgnoreTheLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  const char* german = nullptr;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "German_Germany.1252", "de-DE"}) {
    german = german ? german : std::setlocale(LC_ALL, name);
  }
  if (!german || *std::localeconv()->decimal_point != ',') {
    std::setlocale(LC_ALL, before.c_str());
    GTEST_SKIP() << "this machine has no locale with a decimal comma";
  }
  const JsonPtr value = Parse("{\"n\":1234567.25}");
  const std::string text = value ? Print(value.Get(), JSON_COMPACT) : "";
  std::setlocale(LC_ALL, before.c_str());
  EXPECT_EQ(text, "{\"n\":1234567.25}");
}

TEST(StreamStack, RecordsRoundTripThroughACacheFile) {
  MemoryOutputStream file;
  {
    BufferedOutputStream buffered(&file);
    ChunkOutputStream chunks(&buffered);
    for (unsigned i = 0; i < 50; ++i) {
      MemoryOutputStream record;
      GZipOutputStream gzip(&record);
      JsonOutputStream json(&gzip, JSON_COMPACT);
      const JsonPtr value(json_pack("{s:i, s:s}", "n", i, "t", std::string(i * 100, 'x').c_str()));
      ASSERT_TRUE(json.WriteValue(value.Get()));
      json.Flush();
      const std::vector<uint8_t> bytes = record.Join();
      chunks.Write(bytes.data(), bytes.size());
    }
    chunks.Flush();
    ASSERT_FALSE(chunks.HasError());
  }
  const std::vector<uint8_t> bytes = file.Join();
  MemoryInputStream memory(bytes.data(), bytes.size());
  BufferedInputStream buffered(&memory);
  ChunkInputStream chunks(&buffered);
  std::vector<uint8_t> payload;
  unsigned count = 0;
  for (; chunks.ReadChunk(payload) == ChunkResult::Chunk; ++count) {
    MemoryInputStream record(payload.data(), payload.size());
    GZipInputStream gzip(&record);
    JsonInputStream json(&gzip);
    const JsonPtr value = json.ReadValue();
    ASSERT_TRUE(value) << json.ErrorText();
    EXPECT_EQ(json_integer_value(json_object_get(value.Get(), "n")),
              static_cast<json_int_t>(count));
    EXPECT_EQ(json_string_length(json_object_get(value.Get(), "t")), count * 100);
    EXPECT_TRUE(gzip.Complete());
  }
  EXPECT_EQ(count, 50);
  EXPECT_FALSE(chunks.HasError());
}

}  // namespace
}  // namespace Tav
