#include "gateway/record_validator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "gateway/gateway_fixture.h"

namespace Gateway {
namespace {

// A change to the good record, and the one problem that it then has.
struct Change {
  std::string part;
  std::string replacement;
  std::string problem;
};

Lines Check(const std::string& text) {
  std::string error;
  const JsonPtr record = ParseJson(text, error);
  if (!record) {
    return {"not JSON: " + error};
  }
  Problems problems;
  CheckRecord(record.get(), problems);
  return problems.List();
}

void ExpectProblems(const std::vector<Change>& changes) {
  for (const auto& [part, replacement, problem] : changes) {
    std::string text = GoodRecord();
    const std::size_t at = text.find(part);
    ASSERT_NE(at, std::string::npos) << part;
    text.replace(at, part.size(), replacement);
    EXPECT_EQ(Check(text), Lines{problem}) << part << " -> " << replacement;
  }
}

TEST(RecordValidatorTest, AcceptsRecordsWithAllKeysAndWithTheRequiredOnes) {
  EXPECT_EQ(Check(GoodRecord()), Lines{});
  EXPECT_EQ(Check(R"({"pn":"p","pv":"1","pp":"wntx64","sv":"2.8.2.1","tv":3,"ep":"","pt":{}})"),
            Lines{});
}

TEST(RecordValidatorTest, ExplainsMissingUnknownAndMisplacedKeys) {
  ExpectProblems({
      {R"("pn":"Quendel Writer",)", "", R"("pn" is missing)"},
      {R"("pt":{"tags":["beta","lab"]},)", "", R"("pt" is missing)"},
      {R"("tv":3,)", R"("tv":3,"xx":1,)", R"("xx" is not a known key)"},
      {R"("pv":"4.2","pp":"wntx64",)", R"("pp":"wntx64","pv":"4.2",)",
       R"("pv" comes after "pp" instead of before it)"},
      {R"(,"cav":"1.0")", "", R"("can" without "cav")"},
      {R"("can":"Viewer",)", "", R"("cav" without "can")"},
      {R"("ce":{"t":"2024-02-29T23:59:59.999Z","OS.Name":"Windows"})",
       R"("ce":{"OS.Name":"Windows","t":"2024-02-29T23:59:59.999Z"})",
       R"("ce" "t" does not come first)"},
  });
}

TEST(RecordValidatorTest, ExplainsValuesOfTheWrongTypeOrForm) {
  ExpectProblems({
      {R"("tv":3)", R"("tv":3.0)", R"("tv" is 3.0 instead of 3)"},
      {R"("sv":"2.8.2.1187559")", R"("sv":"2.8.2")",
       R"("sv": "2.8.2" is not a version of four numbers)"},
      {R"("c":"customer")", R"("c":"")", R"("c" is empty)"},
      {R"("u":"user")", R"("u":7)", R"("u" is an integer instead of a string)"},
      {R"(["beta","lab"])", R"(["beta",1])", R"("pt" "tags"[1] is an integer instead of a string)"},
      {R"("seats":5)", R"("seats":true)",
       R"("pe" "seats" is a boolean instead of a string or a number)"},
      {R"("std-Incremental":"false",)", "",
       R"("pe" "std-Incremental" is neither "true" nor "false")"},
      {R"("OS.Name":"Windows")", R"("OS.Name":10)",
       R"("ce" "OS.Name" is an integer instead of a string)"},
  });
}

TEST(RecordValidatorTest, ExplainsBadEvents) {
  const std::string id = "01234567-89ab-cdef-0123-456789abcdef";
  const std::string upperCaseId = "01234567-89AB-cdef-0123-456789abcdef";
  const std::string marker = R"("g":"$b")";
  ExpectProblems({
      {id, upperCaseId,
       R"("rt"[0] "s": ")" + upperCaseId +
           R"(" is not a session id (8-4-4-4-12 lower-case hexadecimal digits))"},
      {R"("s":")" + id + R"(",)", "", R"("rt"[0] "s" is missing)"},
      {"," + marker, "", R"("rt"[0] has neither "g" nor "m")"},
      {marker, R"("g":"$b","m":"x")", R"("rt"[0] has both "g" and "m")"},
      {marker, R"("g":"$b","v":{"a":1})", R"("rt"[0] is a marker and has "v")"},
      {marker, R"("m":"x","v":{})", R"("rt"[0] "v" is not an object with properties)"},
      {R"("std-Place":["start"])", R"("std-Place":"start")",
       R"("rt"[2] "v" "std-Place" is a string instead of an array of strings)"},
      {R"("std-Loc":"a.cpp:1")", R"("std-Line":"1")",
       R"("rt"[2] "v" "std-Trace"[0] "std-Line" is not a known key)"},
      {R"("label":"first")", R"("label":["first"])",
       R"("rt"[1] "v" "label" is an array instead of a string or a number)"},
      {R"("rank":2)", R"("rank":null)",
       R"("rt"[1] "se" "rank" is null instead of a string or a number)"},
  });
}

TEST(RecordValidatorTest, AcceptsOnlyTimeStampsThatExist) {
  for (const char* good : {"2024-02-29T00:00:00.000Z", "2000-02-29T23:59:59.999+14:00",
                           "2023-12-31T12:00:00.500-12:00"}) {
    EXPECT_TRUE(IsTimeStamp(good)) << good;
  }
  for (const char* bad :
       {"2023-02-29T00:00:00.000Z", "1900-02-29T00:00:00.000Z", "2024-13-01T00:00:00.000Z",
        "2024-04-31T00:00:00.000Z", "2024-01-00T00:00:00.000Z", "2024-01-01T24:00:00.000Z",
        "2024-01-01T00:60:00.000Z", "2024-01-01T00:00:60.000Z", "2024-01-01T00:00:00Z",
        "2024-01-01T00:00:00.000", "2024-01-01T00:00:00.000+1:00", "2024-01-01T00:00:00.000+01:60",
        "2024-01-01 00:00:00.000Z", "2024-01-01T00:00:00.000Zx", ""}) {
    EXPECT_FALSE(IsTimeStamp(bad)) << bad;
  }
}

TEST(RecordValidatorTest, ListsTheFirstProblemsAndCountsTheRest) {
  std::string text = R"({"pn":"p","pv":"1","pp":"w","sv":"2.8.2.1","tv":3,"ep":"","pt":{},"rt":[0)";
  for (int i = 1; i < 25; ++i) {
    text += ",0";
  }
  const Lines problems = Check(text + "]}");
  ASSERT_EQ(problems.size(), Problems::kMaxListed + 1);
  EXPECT_EQ(problems.back(), "and 5 more");
}

TEST(RecordValidatorTest, ExplainsBadRequestHeaders) {
  const struct {
    const char* name;
    const char* value;
    Lines problems;
  } cases[] = {
      {"user-agent", "anything", {}},
      {"content-encoding", "br", {R"(Content-Encoding "br" is neither gzip nor identity)"}},
      {"content-encoding",
       "identity",
       {R"(X-Compressed is "true" without Content-Encoding: gzip)"}},
      {"x-compressed", "", {R"(X-Compressed is "" instead of "true")"}},
      {"content-type",
       "text/plain",
       {R"(Content-Type is "text/plain" instead of "application/json; charset=utf-8")"}},
      {"x-sdkversion",
       "2.8.2.",
       {R"(X-SDKVersion is "2.8.2." instead of a version of four numbers)"}},
  };
  for (const auto& [name, value, expected] : cases) {
    Headers headers = GzipHeaders();
    headers[name] = value;
    Problems problems;
    CheckRequestHeaders(headers, problems);
    EXPECT_EQ(problems.List(), expected) << name;
  }
}

}  // namespace
}  // namespace Gateway
