#include <gtest/gtest.h>

#include <string>

#include "model/handles.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

using EventsTest = TableTest;

// A handle that the session manager has taken, kept alive by the test so that its magic can be
// read.
class Reused {
 public:
  explicit Reused(TavValue_s* value) : value_(value) { value->magic = kHandleHandedOver; }
  ~Reused() { FreeHandle(value_); }

 private:
  TavValue_s* value_;
};

TEST_F(EventsTest, EveryMisuseOfAnEventHasItsMessage) {
  TavEvent_s* const event = tav.NewEvent("event");
  TavValue_s* const map = tav.NewMapValue();
  auto* const notAnEvent = reinterpret_cast<TavEvent_s*>(map);
  tav.AddEventProperty(nullptr, "n", "v");
  tav.AddEventProperty(notAnEvent, "n", "v");
  tav.AddEventProperty(event, " \t ", "v");
  tav.AddEventProperty(event, std::string(256, 'n').c_str(), "v");
  tav.AddNumericEventProperty(nullptr, "n", 1);
  tav.AddNumericEventProperty(notAnEvent, "n", 1);
  tav.AddNumericEventProperty(event, nullptr, 1);
  tav.LogEvent(nullptr);
  {
    const Reused reused(event);
    tav.AddEventProperty(event, "n", "v");
    tav.AddNumericEventProperty(event, "n", 1);
    tav.LogEvent(event);
  }
  FreeHandle(map);
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: TavAddEventProperty called with a null event",
                   "error: Tav: TavAddEventProperty called with a bad event",
                   "error: Tav: TavAddEventProperty called with a bad name",
                   "error: Tav: TavAddEventProperty called with a bad name",
                   "error: Tav: TavAddNumericEventProperty (float) called with a null event",
                   "error: Tav: TavAddNumericEventProperty called with a bad event",
                   "error: Tav: TavAddNumericEventProperty (float) called with a bad name",
                   "error: Tav: TavLogEvent called with a null event",
                   "error: Tav: TavAddEventProperty called with a re-used event",
                   "error: Tav: TavAddNumericEventProperty (float) called with a re-used event",
                   "error: Tav: TavLogEvent called with a re-used event"}));
}

TEST_F(EventsTest, AnEventWithoutAValidNameIsFreedSilently) {
  Start();
  for (const std::string& name : {std::string("   "), std::string(256, 'n')}) {
    TavEvent_s* const event = tav.NewEvent(name.c_str());
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(Complaints(), (Lines{"error: Tav: TavNewEvent called with an invalid event name"}));
    tav.LogEvent(event);
    EXPECT_EQ(Complaints(), Lines());
  }
  tav.LogEvent(tav.NewEvent((" " + std::string(255, 'n') + "\n").c_str()));
  Stop();
  EXPECT_EQ(EventsNamed(std::string(255, 'n')).size(), 1u);
  EXPECT_EQ(Events().size(), 3u);  // with the session's begin and end
}

TEST_F(EventsTest, NamesAreTrimmedAndTextsAreMadeUtf8) {
  Start();
  TavEvent_s* const event = tav.NewEvent(" caf\xE9 ");
  tav.AddEventProperty(event, " k ", " v ");
  tav.AddEventProperty(event, "u", "\xE9t\xE9");
  tav.AddEventProperty(event, "null", nullptr);
  tav.AddNumericEventProperty(event, "n", -2.5);
  tav.LogEvent(event);
  Stop();
  EXPECT_EQ(PropertiesOf("caf\xC3\xA9"),
            "{\"k\":\" v \",\"u\":\"\xC3\xA9t\xC3\xA9\",\"null\":\"\","
            "\"n\":-2.5}");
  ExpectLogged("warning: String contains non-UTF-8 characters");
}

TEST_F(EventsTest, AnEventMadeBeforeInitializationCanBeLoggedAfterIt) {
  TavEvent_s* const event = tav.NewEvent("early");
  tav.AddEventProperty(event, "k", "v");
  Start();
  tav.AddEventProperty(event, "l", std::string(4000, 'w').c_str());
  tav.LogEvent(event);
  TavEvent_s* const late = tav.NewEvent("late");
  tav.AddEventProperty(late, "k", "v");
  Stop();
  EXPECT_EQ(EventsNamed("early").size(), 1u);
  tav.AddEventProperty(late, "l", "w");
  Start();
  tav.LogEvent(late);
  Stop();
  EXPECT_EQ(PropertiesOf("late"), R"({"k":"v","l":"w"})");
}

TEST_F(EventsTest, AnEventThatGrewTooLargeIsDropped) {
  Start();
  TavEvent_s* const event = tav.NewEvent("large");
  tav.AddEventProperty(event, "a", std::string(60000, 'x').c_str());
  tav.AddEventProperty(event, "b", std::string(60000, 'x').c_str());
  tav.LogEvent(event);
  ExpectLogged("SM: Log(): event 'large' is discarded.");
  EXPECT_NE(LineWith("JD: AddTavEvent: discarding 'large'. Current size = "), "");
  Stop();
  EXPECT_TRUE(EventsNamed("large").empty());
}

TEST_F(EventsTest, EveryMisuseOfAValueHasItsMessage) {
  TavValue_s* const map = tav.NewMapValue();
  TavValue_s* const list = tav.NewListValue();
  tav.AddStringValue(nullptr, "n", "v");
  tav.AddStringValue(list, "n", "v");
  tav.AddStringValue(map, "", "v");
  tav.AddNumericValue(nullptr, "n", 1);
  tav.AddNumericValue(list, "n", 1);
  tav.AddNumericValue(map, "", 1);
  tav.AddListValue(nullptr, "i");
  tav.AddListValue(map, "i");
  tav.AddListValue(list, "");
  tav.AddProductInfoValue("std-Key", map);
  tav.AddProductInfoValue("Key", nullptr);
  tav.AddProductInfo("my-std-key", "v");
  tav.AddNumericProductInfo("", 1);
  {
    const Reused reusedMap(map);
    const Reused reusedList(list);
    tav.AddStringValue(map, "n", "v");
    tav.AddNumericValue(map, "n", 1);
    tav.AddListValue(list, "i");
  }
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: TavAddStringValue called with a null map",
                   "error: Tav: TavAddStringValue called with a bad map",
                   "error: Tav: TavAddStringValue called with a bad name",
                   "error: Tav: TavAddNumericValue called with a null map",
                   "error: Tav: TavAddNumericValue called with a bad map",
                   "error: Tav: TavAddNumericValue called with a bad name",
                   "error: Tav: TavAddListValue called with a null list",
                   "error: Tav: TavAddListValue called with a bad list",
                   "error: Tav: TavAddListValue called with a bad name",
                   "error: Tav: TavAddProductInfoValue failed because of bad input key: std-Key",
                   "error: Tav: TavAddProductInfoValue called with a null value",
                   "warning: Tav: AddProductInfo failed because of bad input key: 'my-std-key'",
                   "warning: Tav: AddProductInfo failed because of bad input key: ''",
                   "error: Tav: TavAddStringValue called with a re-used map",
                   "error: Tav: TavAddNumericValue called with a re-used map",
                   "error: Tav: TavAddListValue called with a re-used list"}));
}

TEST_F(EventsTest, AReusedValueIsFreedAndAnEventIsNoValue) {
  TavValue_s* const value = tav.NewMapValue();
  value->magic = kHandleHandedOver;
  tav.AddProductInfoValue("Key", value);  // freed: the leak check would tell otherwise
  TavEvent_s* const event = tav.NewEvent("event");
  tav.AddProductInfoValue("Key", reinterpret_cast<TavValue_s*>(event));
  EXPECT_EQ(Complaints(), (Lines{"error: Tav: TavAddProductInfoValue called with a re-used value",
                                 "error: Tav: TavAddProductInfoValue called with a bad value"}));
  FreeHandle(event);
}

}  // namespace
}  // namespace Tav::Testing
