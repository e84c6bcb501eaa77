#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "faulty_streams.h"
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

TEST(JsonInputStreamTest, RejectsWhatIsNotOneValue) {
  for (const char* text :
       {"", "{", "{\"a\":1,}", "{} {}", "{\"a\":1,\"a\":2}", "nonsense", "{\"a\":\"\xFF\"}"}) {
    std::string error;
    EXPECT_FALSE(Parse(text, &error)) << text;
    EXPECT_EQ(error, "Bad JSON value") << text;
  }
  EXPECT_FALSE(Parse(std::string(1 << 20, '['))) << "bounded nesting";
}

TEST(JsonInputStreamTest, RejectsTextsThatAreTooLarge) {
  const std::string blanks((16 << 20) - 2, ' ');
  EXPECT_TRUE(Parse("{" + blanks + "}"));
  EXPECT_FALSE(Parse("{ " + blanks + "}"));
  EXPECT_FALSE(Parse("{}" + blanks + " ")) << "white space after the value counts, too";
  std::string zeros = "[0";
  for (int i = 1; i < 1 << 19; ++i) {
    zeros += ",0";
  }
  EXPECT_TRUE(Parse(zeros + "]"));
  EXPECT_FALSE(Parse(zeros + ",0]"));
}

TEST(JsonStreamsTest, ReportTheStreamBelowAndAValueThatIsNoDocument) {
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

TEST(JsonStreamsTest, NumbersIgnoreTheLocale) {
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

}  // namespace
}  // namespace Tav
