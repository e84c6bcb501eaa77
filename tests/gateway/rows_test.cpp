#include "gateway/store/rows.h"

#include <gtest/gtest.h>

#include <string>

#include "gateway/store_fixture.h"

namespace Gateway {
namespace {

std::shared_ptr<const RecordRows> RowsOfEvents(const std::string& events) {
  return RowsOf(
      *RecordOf(R"({"pn":"P","pv":"1","pp":"x","sv":"1.2.3.4","tv":3,"ep":"e","pt":{},"rt":[)" +
                events + R"(],"can":"Viewer","cav":"3"})"));
}

std::string WithValues(const std::string& name, const std::string& values) {
  return R"({"t":"2026-11-02T09:00:00.000Z","s":"00000001-0000-4000-8000-000000000001","m":")" +
         name + R"(","v":{)" + values + "}}";
}

TEST(RowsTest, TellsKindsOfEventsApart) {
  const auto kindAndName = [](const std::string& name, const std::string& values) {
    const EventRow row = RowsOfEvents(WithValues(name, values))->events.at(0);
    return std::string(KindName(row.kind)) + ' ' + row.name;
  };
  const std::string five = R"("asum":2,"acount":1,"amax":2,"amin":2,"aaverage":2.0)";
  EXPECT_EQ(kindAndName("load", five), "statistic load");
  EXPECT_EQ(kindAndName("load", five + R"(,"b":3.0)"), "statistic load");
  EXPECT_EQ(kindAndName("menu", R"("open":3.0,"save":1)"), "counter menu");
  EXPECT_EQ(kindAndName("menu", R"("open":3.0,"save":0.5)"), "event menu");
  EXPECT_EQ(kindAndName("menu", R"("open":3.0,"by":"x")"), "event menu");
  EXPECT_EQ(kindAndName("Viewer_std-Cmd", R"("std-Name":"Print")"), "command Viewer_Print");
  EXPECT_EQ(kindAndName("std-Cmd", R"("std-Name":"Print")"), "command Print");
  EXPECT_EQ(kindAndName("std-Cmd", R"("other":"x")"), "command std-Cmd");
  EXPECT_EQ(kindAndName("Other_std-Error", R"("std-ErrCode":"x")"), "event Other_std-Error");
}

TEST(RowsTest, ReadsManyStatisticsInOneEventAndDeepValues) {
  // A search that takes quadratic time would not end within the time limit of the tests.
  std::string values = R"("deep":)" + std::string(65, '[') + std::string(65, ']') + R"(,"flat":)" +
                       std::string(64, '[') + std::string(64, ']');
  for (int i = 0; i < 500'000; ++i) {
    values += ",\"a" + std::to_string(i) + "average\":1";
  }
  const EventRow row = RowsOfEvents(WithValues("load", values))->events.at(0);
  EXPECT_EQ(KindName(row.kind), "event");
  EXPECT_EQ(row.properties.at(0).text, "[nested too deep]");
  EXPECT_EQ(row.properties.at(0).type, PropertyType::Text);
  EXPECT_EQ(row.properties.at(1).type, PropertyType::Json);
}

TEST(RowsTest, ReadsWhatABadRecordHas) {
  const auto rows = RowsOfEvents(
      R"(7,{"t":"2026-02-30T09:00:00.000Z","s":"00000001-0000-4000-8000-000000000001","m":"a"},)"
      R"({"t":"2026-11-02T09:00:00.000Z","s":"x","m":"a"},{"t":[],"s":{},"m":1},)" +
      WithValues("std-Error", R"("std-ErrCode":404.0,"std-Trace":"none","list":[1,{"a":null}])"));
  ASSERT_EQ(rows->events.size(), 1U);
  EXPECT_EQ(rows->events[0].position, 4);
  EXPECT_EQ(rows->events[0].code, "404");
  EXPECT_EQ(rows->events[0].trace, "");
  EXPECT_EQ(PropertiesJson(rows->events[0].properties),
            R"({"std-ErrCode":404,"list":[1,{"a":null}]})");
  EXPECT_NE(rows->problems, "[]");
  for (const char* text : {"", "[]", "{}", "no JSON", R"({"rt":{},"pe":[],"ce":7,"pn":{}})"}) {
    EXPECT_TRUE(RowsOf(*RecordOf(text))->events.empty()) << text;
    EXPECT_TRUE(RowsOf(*RecordOf(text, false))->events.empty()) << text;
  }
}

TEST(RowsTest, KeepsNoHeaderThatNamesAClient) {
  const Headers headers{{"content-type", "text/plain"},
                        {"x-forwarded-for", "192.0.2.7"},
                        {"cookie", "a=b"},
                        {"user-agent", "Analytics/\xFF"}};
  EXPECT_EQ(RowsOf(ReadRecord({"/", headers, "{}"}))->headers,
            "{\"content-type\":\"text/plain\",\"user-agent\":\"Analytics/\uFFFD\"}");
}

TEST(RowsTest, TurnsLocalTimesIntoMillisecondsSinceTheEpoch) {
  const auto time = [](const std::string& stamp) {
    return RowsOfEvents(R"({"t":")" + stamp +
                        R"(","s":"00000001-0000-4000-8000-000000000001","g":"$b"})")
        ->newest;
  };
  EXPECT_EQ(time("1970-01-01T00:00:00.001Z"), 1);
  EXPECT_EQ(time("1970-01-01T01:00:00.000+01:00"), 0);
  EXPECT_EQ(time("1969-12-31T23:59:59.999-00:30"), 1'799'999);
  EXPECT_EQ(time("2024-02-29T10:00:00.001+01:00"), 1'709'197'200'001);
  EXPECT_EQ(time("0000-01-01T00:00:00.000Z"), -62'167'219'200'000);
}

}  // namespace
}  // namespace Gateway
