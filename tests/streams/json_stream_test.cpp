#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "faulty_streams.h"
#include "streams/buffered_stream.h"
#include "streams/chunk_stream.h"
#include "streams/gzip_stream.h"
#include "streams/json_stream.h"
#include "streams/line_stream.h"
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

TEST(JsonStreams, PrintWithTheGivenFlags) {
  const JsonPtr value = Parse(" {\"a\": [1, 2.5, \"\xC3\xA4\"], \"b\": {}}\n");
  ASSERT_TRUE(value);
  EXPECT_EQ(Print(value.Get(), JSON_COMPACT), "{\"a\":[1,2.5,\"\xC3\xA4\"],\"b\":{}}");
  EXPECT_EQ(
      Print(value.Get(), JSON_INDENT(4) | JSON_ENSURE_ASCII),
      "{\n    \"a\": [\n        1,\n        2.5,\n        \"\\u00E4\"\n    ],\n    \"b\": {}\n}");
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

TEST(JsonInputStream, NamesAFailingSource) {
  for (const char* text : {"", "{\"a\":", "{}"}) {
    FailingInputStream source(text);
    JsonInputStream json(&source);
    EXPECT_FALSE(json.ReadValue()) << text;
    EXPECT_STREQ(json.ErrorText(), "broken source") << text;
  }
}

TEST(JsonOutputStream, RejectsWhatIsNoDocument) {
  RecordingOutputStream sink;
  JsonOutputStream json(&sink, JSON_COMPACT);
  EXPECT_FALSE(json.WriteValue(nullptr));
  EXPECT_STREQ(json.ErrorText(), "Bad JSON value");
  const JsonPtr good(json_object());
  EXPECT_FALSE(json.WriteValue(good.Get())) << "the failure sticks";

  const JsonPtr cycle(json_array());
  JsonPtr inner(json_array());
  json_array_append(inner.Get(), cycle.Get());
  json_array_append(cycle.Get(), inner.Get());
  RecordingOutputStream otherSink;
  JsonOutputStream other(&otherSink, JSON_COMPACT);
  EXPECT_FALSE(other.WriteValue(cycle.Get()));
  EXPECT_STREQ(other.ErrorText(), "Bad JSON value");
  json_array_clear(inner.Get());
}

TEST(JsonOutputStream, NamesAFailingSinkAndStops) {
  RecordingOutputStream sink(3);
  JsonOutputStream json(&sink, JSON_COMPACT);
  const JsonPtr value = Parse("[1,2,3,4,5,6]");
  EXPECT_FALSE(json.WriteValue(value.Get()));
  EXPECT_STREQ(json.ErrorText(), "broken sink");
  EXPECT_EQ(sink.All(), "[1,2");
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

TEST(JsonInputStream, ReadsALineAsAValueOfItsOwn) {
  const std::string text = "{\"a\":1}\r\n{broken\n{\"b\":2}";
  MemoryInputStream memory(text.data(), text.size());
  LineInputStream lines(&memory);
  std::vector<std::string> results;
  while (lines.NextLine()) {
    JsonInputStream json(&lines);
    const JsonPtr value = json.ReadValue();
    results.push_back(value ? Print(value.Get(), JSON_COMPACT) : json.ErrorText());
  }
  EXPECT_EQ(results, (std::vector<std::string>{"{\"a\":1}", "Bad JSON value", "{\"b\":2}"}));
}

TEST(StreamStack, RecordsSurviveTheWayThroughACacheFile) {
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
