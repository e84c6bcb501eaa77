#include "streams/json_check.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

#include "streams/memory_stream.h"
#include "util/json.h"

namespace Tav {
namespace {

JsonShape Check(const std::string& text) {
  MemoryInputStream memory(text.data(), text.size());
  BufferedInputStream buffered(&memory, 7);
  return CheckJson(buffered);
}

JsonShape Parsed(const std::string& text) {
  const JsonPtr value(json_loadb(text.data(), text.size(), 0, nullptr));
  return !value                        ? JsonShape::Malformed
         : json_is_object(value.Get()) ? JsonShape::Object
                                       : JsonShape::Array;
}

std::string Nested(const char* open, int depth, const char* inside, const char* close) {
  std::string text = inside;
  for (int i = 0; i < depth; ++i) {
    text = open + text + close;
  }
  return text;
}

TEST(JsonCheckTest, AgreesWithTheParser) {
  std::vector<std::string> texts = {"",     " ", "{}", " [ ] \r\n\t", "[]x",
                                    "{}{}", "{", "[",  "]",           "{]"};
  std::vector<std::string> values = {"", "1 2", R"({"a" : {"b" : []} , "c" : 0})", "\xEF\xBB\xBF"};
  std::istringstream words(R"x(
      0 -0 - +1 01 1. .5 1.5 1e5 1E+5 1e- 1e400 1e-400 0x1 1-2 1,2
      9223372036854775807 9223372036854775808 -9223372036854775808
      true false null truex True nul NaN Infinity , : [0,] [,0] [[],{},[[]]]
      {"a":1,} {,} {"a"} {"a":} {a:1} {1:1} {"":1} "" " "a 'a' "\"\\\/\b\f\n\r\t" "\v" "\
      "\u00e9" "\u00E9" "\u00g0" "\u12" "\u0000" "\ud834\udd1e" "\ud834" "\ud834\u0041"
      "\ud834x" "\udd1e")x");
  for (std::string word; words >> word;) {
    values.push_back(word);
  }
  for (const char* inText :
       {"\t", "\x7F", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9D\x84\x9E", "\x80", "\xC0\x80",
        "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\x9F\xBF", "\xF0\x8F\xBF\xBF",
        "\xF4\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xE2\x82"}) {
    values.push_back(std::string("\"").append(inText).append("\""));
  }
  // As an element and as a member's value.
  for (const std::string& value : values) {
    texts.push_back("[" + value + "]");
    texts.push_back("{\"k\":" + value + "}");
  }
  texts.push_back(std::string("[\0]", 3));
  texts.push_back(std::string("[\"\0\"]", 5));
  for (const int depth : {2047, 2048, 2049}) {
    texts.push_back(Nested("[", depth, "", "]"));
    texts.push_back(Nested("[", depth, "0", "]"));
    texts.push_back(Nested("{\"a\":", depth, "{}", "}"));
  }
  int good = 0;
  for (const std::string& text : texts) {
    const JsonShape expected = Parsed(text);
    EXPECT_EQ(Check(text), expected) << text.substr(0, 80);
    good += expected != JsonShape::Malformed ? 1 : 0;
  }
  EXPECT_GT(good, 50);
  EXPECT_EQ(Check("[0." + std::string(998, '1') + "]"), JsonShape::Malformed);
}

TEST(JsonCheckTest, AgreesWithTheParserOnDamagedTexts) {
  const std::string whole =
      "{\"a\":[1,-2.5e3,true,null,\"\xC3\xA9\\ud834\\udd1e\\n\"],\"b\":{\"c\":[]}, \"d\" : 0}";
  const std::string pieces = "{}[],:\"\\u0ad8-+.eE \n\x01\x80\xC3\xED";
  std::mt19937 random(20260101);
  int good = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string text = whole;
    for (unsigned changes = 1 + random() % 2; changes > 0; --changes) {
      const size_t at = random() % text.size();
      switch (random() % 3) {
        case 0:
          text.erase(at, 1);
          break;
        case 1:
          text[at] = pieces[random() % pieces.size()];
          break;
        default:
          text.insert(at, 1, pieces[random() % pieces.size()]);
      }
    }
    const JsonShape expected = Parsed(text);
    ASSERT_EQ(Check(text), expected) << text;
    good += expected != JsonShape::Malformed ? 1 : 0;
  }
  EXPECT_GT(good, 1000);
}

}  // namespace
}  // namespace Tav
