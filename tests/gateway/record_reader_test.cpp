#include "gateway/record_reader.h"

#include <gtest/gtest.h>

#include <string>

#include "gateway/gateway_fixture.h"

namespace Gateway {
namespace {

TEST(RecordReaderTest, ReadsAGoodRecordAndKeepsItsText) {
  const std::string text = GoodRecord();
  for (const bool isGzip : {true, false}) {
    const std::string body = isGzip ? Gzip(text) : text;
    const Record record = ReadRecord({"/", isGzip ? GzipHeaders() : PlainHeaders(), body});
    EXPECT_EQ(record.problems, Lines{});
    EXPECT_EQ(record.text, text);
    EXPECT_EQ(record.compressedSize, body.size());
    EXPECT_EQ(record.product, "Quendel Writer");
    EXPECT_EQ(record.component, "Viewer");
    EXPECT_EQ(record.sessions, (Lines{"01234567-89ab-cdef-0123-456789abcdef",
                                      "89abcdef-0123-4567-89ab-cdef01234567"}));
    ASSERT_EQ(record.events.size(), 3U);
    EXPECT_EQ(record.events[0].name, "$b");
    EXPECT_EQ(record.events[1].name, "Viewer_open");
    const TextSpan last = record.events[2].span;
    EXPECT_EQ(text.substr(last.offset, 31), R"({"t":"2024-02-29T23:59:59.002Z")");
    EXPECT_EQ(text.substr(last.offset + last.length, 8), R"(],"can":)");
  }
}

TEST(RecordReaderTest, ExplainsBodiesThatDoNotExpand) {
  const std::string body = Gzip(GoodRecord());
  const auto firstProblem = [](std::string damaged, std::size_t limit = kMaxExpandedBytes) {
    const Record record = ReadRecord({"/", GzipHeaders(), std::move(damaged)}, limit);
    return record.problems.empty() ? std::string() : record.problems.front();
  };
  EXPECT_EQ(firstProblem(body.substr(0, body.size() / 2)), "the gzip stream ends too early");
  EXPECT_EQ(firstProblem(""), "the gzip stream ends too early");
  EXPECT_EQ(firstProblem(GoodRecord()), "the gzip stream is damaged: incorrect header check");
  std::string wrongSum = body;
  wrongSum[wrongSum.size() - 8] = static_cast<char>(wrongSum[wrongSum.size() - 8] ^ 1);
  EXPECT_EQ(firstProblem(wrongSum), "the gzip stream is damaged: incorrect data check");
  EXPECT_EQ(firstProblem(body + body),
            std::to_string(body.size()) + " bytes follow the end of the gzip stream");
  EXPECT_EQ(firstProblem(Gzip(std::string(100'000, ' ')), 99'999),
            "the body expands to more than 99999 bytes");
  EXPECT_EQ(firstProblem(body, GoodRecord().size()), "");
}

TEST(RecordReaderTest, ExplainsTextsThatAreNotRecords) {
  const auto problems = [](std::string text) {
    return ReadRecord({"/", PlainHeaders(), std::move(text)}).problems;
  };
  EXPECT_EQ(problems(""), Lines{"the body is empty"});
  EXPECT_EQ(problems("[1]"), Lines{"the record is an array instead of an object"});
  EXPECT_EQ(problems(R"({"pn":"a","pn":"b"})"),
            Lines{R"(the text is not JSON: duplicate object key near '"pn"' (line 1, byte 14))"});
  ASSERT_EQ(problems(GoodRecord("\xE9")).size(), 1U);
  EXPECT_TRUE(problems(GoodRecord("\xE9"))[0].starts_with("the text is not JSON: "));
  EXPECT_EQ(problems(GoodRecord() + "\n"), Lines{"the text is not compact: white space at byte " +
                                                 std::to_string(GoodRecord().size())});
  EXPECT_EQ(problems(Gzip(GoodRecord())),
            Lines{"the body is gzip and no Content-Encoding says so"});
}

TEST(RecordReaderTest, BoundsWhatATextBecomesInMemory) {
  const auto ones = [](std::size_t count) {
    std::string text = R"({"rt":[1)";
    for (std::size_t i = 1; i < count; ++i) {
      text += ",1";
    }
    return text + "]}";
  };
  const Record longList =
      ReadRecord({"/", PlainHeaders(), ones(kMaxEvents + 1)}, kMaxExpandedBytes, true);
  EXPECT_EQ(longList.events.size(), kMaxEvents);
  EXPECT_EQ(longList.problems.at(0), "\"rt\" has 250001 entries; the first 250000 are read");
  const Record tooMany = ReadRecord({"/", PlainHeaders(), ones(kMaxValues)});
  EXPECT_EQ(tooMany.problems, Lines{"the text has too many values to be parsed"});
  EXPECT_FALSE(tooMany.isJson);
  EXPECT_TRUE(tooMany.events.empty());
}

TEST(RecordReaderTest, ExplainsAVersionThatDiffersFromTheHeader) {
  Headers headers = PlainHeaders();
  headers["x-sdkversion"] = "2.8.2.1";
  EXPECT_EQ(ReadRecord({"/", headers, GoodRecord()}).problems,
            Lines{R"("sv" is "2.8.2.1187559" and X-SDKVersion is "2.8.2.1")"});
}

TEST(JsonTextTest, IndentsWithoutChangingValues) {
  EXPECT_EQ(IndentJson(R"({"b":[1.50,{}],"a":"x,{\"y\":[","c":[]})"),
            "{\n"
            "  \"b\": [\n"
            "    1.50,\n"
            "    {}\n"
            "  ],\n"
            "  \"a\": \"x,{\\\"y\\\":[\",\n"
            "  \"c\": []\n"
            "}");
}

TEST(JsonTextTest, FindsTheItemsOfTheRootArrayOnly) {
  const std::string text = R"({"a":"\"rt\":[1]","b":{"rt":[2]}, "rt" : [ "]" , {"x":[3]},-4e1 ] })";
  const auto items = FindArrayItems(text, "rt");
  ASSERT_TRUE(items.has_value());
  Lines found;
  for (const TextSpan& item : *items) {
    found.push_back(text.substr(item.offset, item.length));
  }
  EXPECT_EQ(found, (Lines{R"("]")", R"({"x":[3]})", "-4e1"}));
  EXPECT_FALSE(FindArrayItems(R"({"rt":{}})", "rt").has_value());
  EXPECT_FALSE(FindArrayItems("{}", "rt").has_value());
}

TEST(JsonTextTest, ReplacesBytesThatAreNotUtf8) {
  EXPECT_EQ(QuoteJson("a\xC3\xA9\xFF\xE2\x82\x01"),
            "\"aé\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\\u0001\"");
}

}  // namespace
}  // namespace Gateway
