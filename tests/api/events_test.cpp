#include <gtest/gtest.h>

#include <string>

#include "api/sessions.h"
#include "model/handles.h"
#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

using EventsTest = TableTest;

TEST_F(EventsTest, EveryMisuseHasItsMessage) {
  TavEvent_s* const event = tav.NewEvent("event");
  TavEvent_s* const error = tav.NewErrorEvent("42", "");
  TavValue_s* const map = tav.NewMapValue();
  auto* const notAnEvent = reinterpret_cast<TavEvent_s*>(map);
  tav.AddEventProperty(nullptr, "n", "v");
  tav.AddEventProperty(notAnEvent, "n", "v");
  tav.AddEventProperty(event, " \t ", "v");
  tav.AddEventProperty(event, std::string(256, 'n').c_str(), "v");
  tav.AddNumericEventProperty(nullptr, "n", 1);
  tav.AddNumericEventProperty(notAnEvent, "n", 1);
  tav.AddNumericEventProperty(event, nullptr, 1);
  tav.AddTraceItem(nullptr, "location", "", "");
  tav.AddTraceItem(event, "location", "", "");
  tav.LogEvent(nullptr);
  tav.LogEvent(notAnEvent);
  event->magic = kHandleConsumed;
  error->magic = kHandleConsumed;
  tav.AddEventProperty(event, "n", "v");
  tav.AddNumericEventProperty(event, "n", 1);
  tav.AddTraceItem(error, "location", "", "");
  tav.LogEvent(event);
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: TavAddEventProperty called with a null event",
                   "error: Tav: TavAddEventProperty called with a bad event",
                   "error: Tav: TavAddEventProperty called with a bad name",
                   "error: Tav: TavAddEventProperty called with a bad name",
                   "error: Tav: TavAddNumericEventProperty (float) called with a null event",
                   "error: Tav: TavAddNumericEventProperty called with a bad event",
                   "error: Tav: TavAddNumericEventProperty (float) called with a bad name",
                   "error: Tav: Add stack trace item called with a null event",
                   "error: Tav: Add stack trace item can be called for an Error event only",
                   "error: Tav: TavLogEvent called with a null event",
                   "error: Tav: TavLogEvent called with a bad event",
                   "error: Tav: TavAddEventProperty called with a re-used event",
                   "error: Tav: TavAddNumericEventProperty (float) called with a re-used event",
                   "error: Tav: Add stack trace item called with a re-used event",
                   "error: Tav: TavLogEvent called with a re-used event"}));
  FreeHandle(event);
  FreeHandle(error);
  FreeHandle(map);
}

TEST_F(EventsTest, WithoutAValidNameAnEventIsNeverSent) {
  Start();
  const std::string tooLong(256, 'n');
  TavEvent_s* const error = tav.NewErrorEvent(nullptr, "message");
  TavEvent_s* const nameless[] = {tav.NewEvent("   "), tav.NewEvent(tooLong.c_str()),
                                  tav.NewCommandEvent(" \t"), tav.NewCommandEvent(tooLong.c_str()),
                                  error};
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: Empty error code",
                   "error: Tav: TavNewEvent called with an invalid event name",
                   "error: Tav: TavNewEvent called with an invalid event name",
                   "error: Tav: Invalid command name", "error: Tav: Invalid command name"}));
  ExpectLogged("Tav: Creating Command event '', sessionID: , component: ");
  ExpectLogged("Tav: Creating Error event for error code '', sessionID: , component: ");
  tav.AddTraceItem(error, "location", "library", "meta");
  EXPECT_TRUE(error->properties.Empty());
  for (TavEvent_s* const event : nameless) {
    ASSERT_NE(event, nullptr);
    tav.LogEvent(event);
  }
  tav.LogEvent(tav.NewEvent((" " + std::string(255, 'n') + "\n").c_str()));
  Stop();
  EXPECT_EQ(Complaints(), Lines{});
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
            "{\"k\":\" v \",\"u\":\"\xC3\xA9t\xC3\xA9\",\"null\":\"\",\"n\":-2.5}");
  ExpectLogged("warning: String contains non-UTF-8 characters");
}

TEST_F(EventsTest, AnEventMadeWhileNotRunningCanBeLoggedLater) {
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

TEST_F(EventsTest, CommandsCarryTheirNameAndSession) {
  Start();
  TavSession_s* const session = tav.SessionBegin();
  const std::string id(session->id.View());
  tav.LogEvent(tav.NewCommandEvent("  Save as\xE2\x80\xA6 "));
  TavEvent_s* const command = tav.SessionNewCommandEvent(session, "Print");
  tav.AddNumericEventProperty(command, "copies", 2);
  tav.LogEvent(command);
  Stop();
  tav.SessionEnd(session);

  const std::vector<JsonPtr> commands = EventsNamed("std-Cmd");
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(Text(json_object_get(commands[0].Get(), "v")),
            "{\"std-Name\":\"Save as\xE2\x80\xA6\"}");
  EXPECT_EQ(Text(json_object_get(commands[1].Get(), "v")), R"({"std-Name":"Print","copies":2.0})");
  EXPECT_NE(TextAt(commands[0].Get(), "s"), id);
  EXPECT_EQ(TextAt(commands[1].Get(), "s"), id);
  ExpectLogged("Tav: Creating Command event 'Print', sessionID: " + id + ", component: ");
}

TEST_F(EventsTest, ErrorsCarryCodeMessageAndTrace) {
  Start();
  TavSession_s* const session = tav.SessionBegin();
  const std::string id(session->id.View());
  TavEvent_s* const error = tav.SessionNewErrorEvent(session, " 42 ", "Out of paper");
  tav.AddTraceItem(error, "main.c:7", "editor.exe", "release");
  tav.AddTraceItem(error, " ", nullptr, "");
  tav.AddTraceItem(error, nullptr, "kernel", nullptr);
  tav.LogEvent(error);
  tav.LogEvent(tav.NewErrorEvent("43", ""));
  Stop();
  tav.SessionEnd(session);

  const std::vector<JsonPtr> errors = EventsNamed("std-Error");
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(TextAt(errors[0].Get(), "s"), id);
  EXPECT_EQ(Text(json_object_get(errors[0].Get(), "v")),
            R"({"std-ErrCode":" 42 ","std-ErrMsg":"Out of paper","std-Trace":[)"
            R"({"std-Loc":"main.c:7","std-Lib":"editor.exe","std-Meta":"release"},)"
            R"({"std-Loc":" "},{"std-Lib":"kernel"}]})");
  EXPECT_EQ(Text(json_object_get(errors[1].Get(), "v")), R"({"std-ErrCode":"43"})");
  ExpectLogged("Tav: Creating Error event for error code '43', sessionID: , component: ");
}

TEST_F(EventsTest, AnErrorTakesFiftyTraceItems) {
  TavEvent_s* const error = tav.NewErrorEvent("42", "");
  for (int i = 0; i < 50; ++i) {
    tav.AddTraceItem(error, "location", "", "");
  }
  EXPECT_EQ(Complaints(), Lines{});
  tav.AddTraceItem(error, "location", "", "");
  EXPECT_EQ(Complaints(), Lines{"warning: Tav: AddTraceItem: item not added as Error event already "
                                "reached max items allowed."});
  EXPECT_EQ(json_array_size(json_object_get(Properties(*error).Get(), "std-Trace")), 50u);
  FreeHandle(error);
}

}  // namespace
}  // namespace Tav::Testing
