#include "api/aggregates.h"

#include "api/sessions.h"
#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

class AggregatesTest : public TableTest {
 protected:
  static double Property(const JsonPtr& event, const char* name) {
    return json_real_value(json_object_get(json_object_get(event.Get(), "v"), name));
  }
};

TEST_F(AggregatesTest, StatisticsBecomeFiveNumbers) {
  // Fed before the library runs, and taken as every name is.
  tav.AggregateValue(" load ", "cpu", 3);
  Start();
  tav.AggregateValue("load", "cpu\n", 5);
  tav.AggregateValue("load", "disk", -7);
  tav.FlushAggregates();
  tav.FlushAggregates();  // nothing is left
  Stop();
  EXPECT_EQ(PropertiesOf("load"),
            R"({"cpusum":8.0,"cpucount":2.0,"cpumax":5.0,"cpumin":3.0,"cpuaverage":4.0,)"
            R"("disksum":-7.0,"diskcount":1.0,"diskmax":-7.0,"diskmin":-7.0,"diskaverage":-7.0})");
  EXPECT_EQ(Complaints(), Lines{});
}

TEST_F(AggregatesTest, AveragesHaveThreeDecimals) {
  Accumulator thirds(1, AggregateKind::Statistic);
  thirds.Feed(1);
  thirds.Feed(0);
  EXPECT_DOUBLE_EQ(thirds.Average(), 0.667);
  Accumulator negative(-1, AggregateKind::Statistic);
  negative.Feed(-1);
  negative.Feed(0);
  EXPECT_DOUBLE_EQ(negative.Average(), -0.667);
  // A half is rounded up, towards the larger number.
  EXPECT_DOUBLE_EQ(Accumulator(0.0625, AggregateKind::Statistic).Average(), 0.063);
  EXPECT_DOUBLE_EQ(Accumulator(-0.0625, AggregateKind::Statistic).Average(), -0.062);
}

TEST_F(AggregatesTest, CountersBecomeTheirSum) {
  Start();
  for (int i = 0; i < 3; ++i) {
    tav.IncrementCounter("menu", "open");
  }
  tav.IncrementCounter("menu", "close");
  // The kind under which a name was first fed stays.
  tav.AggregateValue("menu", "open", 0.5);
  tav.AggregateValue("mixed", "value", 4);
  tav.IncrementCounter("mixed", "value");
  Stop();  // flushes what is left
  EXPECT_EQ(PropertiesOf("menu"), R"({"close":1.0,"open":3.5})");
  EXPECT_EQ(
      PropertiesOf("mixed"),
      R"({"valuesum":5.0,"valuecount":2.0,"valuemax":4.0,"valuemin":1.0,"valueaverage":2.5})");
}

TEST_F(AggregatesTest, SessionsKeepTheirOwn) {
  Start();
  TavSession_s* const session = tav.SessionBegin();
  const std::string id(session->id.View());
  tav.IncrementCounter("menu", "open");
  tav.SessionFlushAggregates(session);  // has none yet
  tav.SessionIncrementCounter(session, "menu", "open");
  tav.SessionIncrementCounter(session, "menu", "open");
  tav.SessionAggregateValue(session, "load", "cpu", 1);
  tav.SessionFlushAggregates(session);
  tav.SessionIncrementCounter(session, "menu", "open");
  tav.SessionEnd(session);
  Stop();

  const std::vector<JsonPtr> menus = EventsNamed("menu");
  ASSERT_EQ(menus.size(), 3u);
  EXPECT_EQ(Property(menus[0], "open"), 2);
  EXPECT_EQ(Property(menus[1], "open"), 1);
  EXPECT_EQ(Property(menus[2], "open"), 1);
  EXPECT_EQ(NamesIn(id), (Lines{"$b", "load", "menu", "menu", "$e"}));
  EXPECT_EQ(Complaints(), Lines{});
}

TEST_F(AggregatesTest, BadNamesAreRejectedAndKeepNothing) {
  Start();
  TavSession_s* const session = tav.SessionBegin();
  const std::string tooLong(256, 'n');
  tav.IncrementCounter(" ", "counter");
  tav.AggregateValue("event", tooLong.c_str(), 1);
  tav.SessionIncrementCounter(session, "event", nullptr);
  tav.SessionAggregateValue(session, tooLong.c_str(), "property", 1);
  tav.SessionIncrementCounter(nullptr, "event", "property");
  tav.SessionAggregateValue(nullptr, "event", "property", 1);
  tav.SessionFlushAggregates(nullptr);
  EXPECT_EQ(Complaints(),
            (Lines{
                "error: Tav: TavIncrementCounter called with bad group name or counter name",
                "error: Tav: TavAggregateValue called with bad event name or property name",
                "error: Tav: TavSessionIncrementCounter called with bad group name or counter name",
                "error: Tav: TavSessionAggregateValue called with bad event name or property name",
                "error: Tav: TavSessionIncrementCounter called with an invalid session",
                "error: Tav: TavSessionAggregateValue called with an invalid session",
            }));
  tav.SessionEnd(session);
  Stop();
  EXPECT_EQ(EventsNamed("event").size(), 0u);
}

TEST_F(AggregatesTest, ANumberWhoseNameGetsTooLongIsLeftOut) {
  Start();
  const std::string property(250, 'p');  // "count" fits behind it, "average" does not
  tav.AggregateValue("load", property.c_str(), 2);
  Stop();
  EXPECT_EQ(Complaints(),
            Lines{"error: Tav: TavAddNumericEventProperty (float) called with a bad name"});
  const std::vector<JsonPtr> events = EventsNamed("load");
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(json_object_size(json_object_get(events[0].Get(), "v")), 4u);
  EXPECT_EQ(Property(events[0], (property + "count").c_str()), 1);
}

}  // namespace
}  // namespace Tav::Testing
