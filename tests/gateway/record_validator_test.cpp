#include "gateway/record_validator.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "gateway/gateway_fixture.h"

namespace Gateway {
namespace {

using Reasons = std::vector<std::string>;

// A change to the good record, and all that is wrong with it then.
struct Damage {
  std::string part;
  std::string replacement;
  Reasons reasons;
};

Reasons Check(const std::string& text) {
  std::string error;
  const JsonPtr record = ParseJson(text, error);
  if (!record) {
    return {"no JSON: " + error};
  }
  Problems problems;
  CheckRecord(record.get(), problems);
  return problems.List();
}

void ExpectReasons(const std::vector<Damage>& damages) {
  for (const Damage& damage : damages) {
    std::string text = GoodRecord();
    const std::size_t at = text.find(damage.part);
    ASSERT_NE(at, std::string::npos) << damage.part;
    text.replace(at, damage.part.size(), damage.replacement);
    EXPECT_EQ(Check(text), damage.reasons) << damage.part << " -> " << damage.replacement;
  }
}

TEST(RecordValidator, AcceptsARecordWithEveryKey) {
  EXPECT_EQ(Check(GoodRecord()), Reasons{});
}

TEST(RecordValidator, AcceptsARecordWithTheRequiredKeysOnly) {
  EXPECT_EQ(Check(R"({"pn":"p","pv":"1","pp":"wntx64","sv":"2.8.2.1","tv":3,"ep":"","pt":{}})"),
            Reasons{});
}

TEST(RecordValidator, ExplainsKeysThatAreMissingUnknownOrOutOfOrder) {
  ExpectReasons({
      {R"("pn":"Quendel Writer",)", "", {R"("pn" is missing)"}},
      {R"("pt":{"tags":["beta","lab"]},)", "", {R"("pt" is missing)"}},
      {R"("tv":3,)", R"("tv":3,"xx":1,)", {R"("xx" is not a known key)"}},
      {R"("pv":"4.2","pp":"wntx64",)",
       R"("pp":"wntx64","pv":"4.2",)",
       {R"("pv" stands after "pp" instead of before it)"}},
      {R"(,"cav":"1.0")", "", {R"("can" stands without "cav")"}},
      {R"("can":"Viewer",)", "", {R"("cav" stands without "can")"}},
      {R"("ce":{"t":"2024-02-29T23:59:59.999Z","OS.Name":"Windows"})",
       R"("ce":{"OS.Name":"Windows","t":"2024-02-29T23:59:59.999Z"})",
       {R"("ce" "t" does not come first)"}},
  });
}

TEST(RecordValidator, ExplainsValuesOfTheWrongTypeOrForm) {
  ExpectReasons({
      {R"("tv":3)", R"("tv":3.0)", {R"("tv" is 3.0 instead of 3)"}},
      {R"("sv":"2.8.2.1187559")",
       R"("sv":"2.8.2")",
       {R"("sv": "2.8.2" is not a version of four numbers)"}},
      {R"("c":"customer")", R"("c":"")", {R"("c" is empty)"}},
      {R"("u":"user")", R"("u":7)", {R"("u" is an integer instead of a string)"}},
      {R"(["beta","lab"])",
       R"(["beta",1])",
       {R"("pt" "tags"[1] is an integer instead of a string)"}},
      {R"("seats":5)",
       R"("seats":true)",
       {R"("pe" "seats" is a boolean instead of a string or a number)"}},
      {R"("std-Incremental":"false",)",
       "",
       {R"("pe" "std-Incremental" is neither "true" nor "false")"}},
      {R"("OS.Name":"Windows")",
       R"("OS.Name":10)",
       {R"("ce" "OS.Name" is an integer instead of a string)"}},
  });
}

TEST(RecordValidator, ExplainsBadEvents) {
  const std::string id = "01234567-89ab-cdef-0123-456789abcdef";
  const std::string wrongId = "01234567-89AB-cdef-0123-456789abcdef";
  const std::string marker = R"("g":"$b")";
  const std::string none = R"("rt"[0] has neither "g" nor "m")";
  ExpectReasons({
      {id,
       wrongId,
       {R"("rt"[0] "s": ")" + wrongId +
        R"(" is not a session id (8-4-4-4-12 lower-case hexadecimal digits))"}},
      {R"("s":")" + id + R"(",)", "", {R"("rt"[0] "s" is missing)"}},
      {"," + marker, "", {none}},
      {marker, R"("g":"$b","m":"x")", {R"("rt"[0] has both "g" and "m")"}},
      {marker, R"("g":"$b","v":{"a":1})", {R"("rt"[0] is a marker and has "v")"}},
      {marker, R"("m":"x","v":{})", {R"("rt"[0] "v" is not an object with properties)"}},
      {R"("std-Place":["start"])",
       R"("std-Place":"start")",
       {R"("rt"[2] "v" "std-Place" is a string instead of an array of strings)"}},
      {R"("std-Loc":"a.cpp:1")",
       R"("std-Line":"1")",
       {R"("rt"[2] "v" "std-Trace"[0] "std-Line" is not a known key)"}},
      {R"("label":"first")",
       R"("label":["first"])",
       {R"("rt"[1] "v" "label" is an array instead of a string or a number)"}},
      {R"("rank":2)",
       R"("rank":null)",
       {R"("rt"[1] "se" "rank" is null instead of a string or a number)"}},
  });
}

TEST(RecordValidator, KnowsWhichTimeStampsExist) {
  const auto reasons = [](const std::string& stamp) {
    const std::string text = GoodRecord();
    const std::string part = "2024-02-29T23:59:59.000-03:30";
    return Check(std::string(text).replace(text.find(part), part.size(), stamp));
  };
  for (const char* good : {"2024-02-29T00:00:00.000Z", "2000-02-29T23:59:59.999+14:00",
                           "2023-12-31T12:00:00.500-12:00"}) {
    EXPECT_EQ(reasons(good), Reasons{}) << good;
  }
  for (const char* bad :
       {"2023-02-29T00:00:00.000Z", "1900-02-29T00:00:00.000Z", "2024-13-01T00:00:00.000Z",
        "2024-04-31T00:00:00.000Z", "2024-01-00T00:00:00.000Z", "2024-01-01T24:00:00.000Z",
        "2024-01-01T00:60:00.000Z", "2024-01-01T00:00:60.000Z", "2024-01-01T00:00:00Z",
        "2024-01-01T00:00:00.000", "2024-01-01T00:00:00.000+1:00", "2024-01-01T00:00:00.000+01:60",
        "2024-01-01 00:00:00.000Z", "2024-01-01T00:00:00.000Zx", ""}) {
    EXPECT_EQ(reasons(bad).size(), 1U) << bad;
  }
}

TEST(RecordValidator, ListsTheFirstReasonsAndCountsTheRest) {
  std::string text = R"({"pn":"p","pv":"1","pp":"w","sv":"2.8.2.1","tv":3,"ep":"","pt":{},"rt":[0)";
  for (int i = 1; i < 25; ++i) {
    text += ",0";
  }
  const Reasons reasons = Check(text + "]}");
  ASSERT_EQ(reasons.size(), Problems::kMaxListed + 1);
  EXPECT_EQ(reasons.back(), "and 5 more");
}

TEST(RecordValidator, ExplainsRequestHeaders) {
  const Headers good = {{"content-encoding", "gzip"},
                        {"x-compressed", "true"},
                        {"content-type", kRecordType},
                        {"x-sdkversion", "2.8.2.1187559"}};
  const auto reasons = [&](const std::string& name, const std::string& value) {
    Headers headers = good;
    headers[name] = value;
    Problems problems;
    CheckRequestHeaders(headers, problems);
    return problems.List();
  };
  EXPECT_EQ(reasons("user-agent", "anything"), Reasons{});
  EXPECT_EQ(reasons("content-encoding", "br"),
            Reasons{R"(Content-Encoding "br" is neither gzip nor identity)"});
  EXPECT_EQ(reasons("content-encoding", "identity"),
            Reasons{R"(X-Compressed is "true" without Content-Encoding: gzip)"});
  EXPECT_EQ(reasons("x-compressed", ""), Reasons{R"(X-Compressed is "" instead of "true")"});
  EXPECT_EQ(reasons("content-type", "text/plain"),
            Reasons{R"(Content-Type is "text/plain" instead of )"
                    R"("application/json; charset=utf-8")"});
  EXPECT_EQ(reasons("x-sdkversion", "2.8.2."),
            Reasons{R"(X-SDKVersion is "2.8.2." instead of a version of four numbers)"});
}

}  // namespace
}  // namespace Gateway
