#include "api/sessions.h"
#include "model/handles.h"
#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

class StandardEventsTest : public TableTest {};

TEST_F(StandardEventsTest, CommandsCarryTheirNameAndSession) {
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

TEST_F(StandardEventsTest, ErrorsCarryCodeMessageAndTrace) {
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

TEST_F(StandardEventsTest, WithoutANameOrCodeAnEventIsNeverSent) {
  Start();
  TavEvent_s* const command = tav.NewCommandEvent(" \t");
  TavEvent_s* const longCommand = tav.NewCommandEvent(std::string(256, 'c').c_str());
  TavEvent_s* const error = tav.NewErrorEvent(nullptr, "message");
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: Invalid command name", "error: Tav: Invalid command name",
                   "error: Tav: Empty error code"}));
  ExpectLogged("Tav: Creating Command event '', sessionID: , component: ");
  ExpectLogged("Tav: Creating Error event for error code '', sessionID: , component: ");
  tav.AddTraceItem(error, "location", "library", "meta");
  for (TavEvent_s* const event : {command, longCommand, error}) {
    ASSERT_NE(event, nullptr);
    EXPECT_FALSE(event->payload);
    tav.LogEvent(event);
  }
  Stop();
  EXPECT_EQ(Complaints(), Lines{});
  EXPECT_EQ(Events().size(), 0u);
}

TEST_F(StandardEventsTest, AnErrorTakesFiftyTraceItems) {
  Start();
  TavEvent_s* const error = tav.NewErrorEvent("42", "");
  for (int i = 0; i < 50; ++i) {
    tav.AddTraceItem(error, std::to_string(i).c_str(), "", "");
  }
  EXPECT_EQ(Complaints(), Lines{});
  tav.AddTraceItem(error, "50", "", "");
  EXPECT_EQ(Complaints(), Lines{"warning: Tav: AddTraceItem: item not added as Error event already "
                                "reached max items allowed."});
  tav.LogEvent(error);
  Stop();
  const std::vector<JsonPtr> errors = EventsNamed("std-Error");
  ASSERT_EQ(errors.size(), 1u);
  const json_t* const trace = json_object_get(json_object_get(errors[0].Get(), "v"), "std-Trace");
  ASSERT_EQ(json_array_size(trace), 50u);
  EXPECT_EQ(TextAt(json_array_get(trace, 49), "std-Loc"), "49");
}

TEST_F(StandardEventsTest, TraceItemsGoIntoLiveErrorEventsOnly) {
  TavEvent_s* const command = tav.NewCommandEvent("Print");
  TavEvent_s* const error = tav.NewErrorEvent("42", "");
  error->magic = kHandleHandedOver;
  tav.AddTraceItem(nullptr, "location", "", "");
  tav.AddTraceItem(error, "location", "", "");
  tav.AddTraceItem(command, "location", "", "");
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: Add stack trace item called with a null event",
                   "error: Tav: Add stack trace item called with a re-used event",
                   "error: Tav: Add stack trace item can be called for an Error event only"}));
  FreeHandle(command);
  FreeHandle(error);
}

}  // namespace
}  // namespace Tav::Testing
