#include "api/sessions.h"

#include <algorithm>
#include <cctype>

#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

class SessionsTest : public TableTest {};

bool IsSessionId(const std::string& text) {
  const std::string form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char c, char expected) {
    return expected == '-' ? c == '-' : std::isdigit(c) || (c >= 'a' && c <= 'f');
  });
}

TEST_F(SessionsTest, WhatIsReportedInASessionCarriesItsId) {
  Start();
  TavSession_s* const first = tav.SessionBegin();
  TavSession_s* const second = tav.SessionBegin();
  const std::string firstId(first->id.View());
  const std::string secondId(second->id.View());
  tav.SessionLogPlace(first, "  Start page\t");
  tav.LogEvent(tav.SessionNewEvent(first, " Opened "));
  tav.SessionLogIdle(first);
  tav.LogPlace("Outside");
  tav.LogIdle();
  tav.SessionEnd(first);
  tav.SessionEnd(second);
  Stop();

  EXPECT_PRED1(IsSessionId, firstId);
  EXPECT_EQ(NamesIn(firstId), (Lines{"$b", "Start page", "Opened", "$i", "$e"}));
  EXPECT_EQ(NamesIn(secondId), (Lines{"$b", "$e"}));
  const std::vector<JsonPtr> outside = EventsNamed("Outside");
  ASSERT_EQ(outside.size(), 1u);
  EXPECT_EQ(NamesIn(TextAt(outside[0].Get(), "s")), (Lines{"$b", "Outside", "$i", "$e"}));
  ExpectLogged("TavSessionLogPlace: Place = 'Start page'");
  ExpectLogged("TavLogPlace: Place = 'Outside'");
  EXPECT_EQ(Complaints(), Lines{});
}

TEST_F(SessionsTest, PlacesAndEventsNeedAName) {
  Start();
  TavSession_s* const session = tav.SessionBegin();
  const std::string longest(255, 'p');
  tav.LogPlace(("  " + longest + "  ").c_str());
  tav.SessionLogPlace(session, longest.c_str());
  EXPECT_EQ(Complaints(), Lines{});

  tav.LogPlace((longest + "p").c_str());
  // The place is checked before the session.
  tav.SessionLogPlace(nullptr, "  ");
  TavEvent_s* const event = tav.SessionNewEvent(session, nullptr);
  EXPECT_EQ(Complaints(), (Lines{"error: Tav: TavLogPlace called with an invalid place",
                                 "error: Tav: TavSessionLogPlace called with an invalid place",
                                 "error: Tav: TavSessionNewEvent called with an invalid event"}));
  ASSERT_NE(event, nullptr);
  tav.LogEvent(event);
  tav.SessionEnd(session);
  Stop();
  EXPECT_EQ(Complaints(), Lines{});
  EXPECT_EQ(EventsNamed(longest).size(), 2u);
  EXPECT_EQ(EventsNamed("").size(), 0u);
}

TEST_F(SessionsTest, InvalidSessionsAreReportedAndStillFreed) {
  Start();
  TavSession_s* const session = tav.SessionBegin();
  tav.SessionIncrementCounter(session, "menu", "open");
  session->magic = 0;
  for (TavSession_s* const invalid : {session, static_cast<TavSession_s*>(nullptr)}) {
    tav.SessionLogPlace(invalid, "place");
    tav.SessionLogIdle(invalid);
    tav.SessionEnd(invalid);
    EXPECT_EQ(LiveSessions(), 0u);
    EXPECT_EQ(Complaints(), (Lines{"error: Tav: TavSessionLogPlace called with an invalid session",
                                   "error: Tav: TavSessionLogIdle called with an invalid session",
                                   "error: Tav: TavSessionEnd called with an invalid session"}));
  }
  Stop();
  EXPECT_TRUE(EventsNamed("place").empty() && EventsNamed("$e").empty() &&
              EventsNamed("menu").empty());
}

TEST_F(SessionsTest, AnEndedSessionIsReportedAndLeftAlone) {
  Start();
  TavSession_s* const ended = tav.SessionBegin();
  TavSession_s* const open = tav.SessionBegin();
  tav.SessionEnd(ended);
  TavSession_s* const later = tav.SessionBegin();
  tav.SessionLogPlace(ended, "place");
  tav.SessionLogIdle(ended);
  tav.SessionIncrementCounter(ended, "menu", "open");
  tav.SessionAggregateValue(ended, "load", "cpu", 1);
  tav.SessionFlushAggregates(ended);
  tav.LogEvent(tav.SessionNewEvent(ended, "event"));
  tav.LogEvent(tav.SessionNewCommandEvent(ended, "command"));
  tav.LogEvent(tav.SessionNewErrorEvent(ended, "code", ""));
  tav.SessionEnd(ended);
  Lines expected;
  for (const char* const slot :
       {"LogPlace", "LogIdle", "IncrementCounter", "AggregateValue", "FlushAggregates", "NewEvent",
        "NewCommandEvent", "NewErrorEvent", "End"}) {
    expected.push_back(std::string("error: Tav: TavSession") + slot +
                       " called with an invalid session");
  }
  EXPECT_EQ(Complaints(), expected);
  EXPECT_EQ(LiveSessions(), 2u);
  tav.SessionEnd(later);
  tav.SessionEnd(open);
  EXPECT_EQ(Complaints(), Lines{});
  EXPECT_EQ(LiveSessions(), 0u);
  Stop();
  EXPECT_EQ(EventsNamed("$b").size(), 4u);
  EXPECT_EQ(EventsNamed("$e").size(), 4u);
  EXPECT_EQ(EventsNamed("place").size() + EventsNamed("menu").size(), 0u);
  EXPECT_EQ(EventsNamed("event").size(), 1u);
}

TEST_F(SessionsTest, WhatIsNoSessionIsNotEndedAsOne) {
  Start();
  TavEvent_s* const event = tav.NewEvent("event");
  TavValue_s* const value = tav.NewMapValue();
  TavSession_s* const session = tav.SessionBegin();
  for (void* const pointer :
       {static_cast<void*>(event), static_cast<void*>(value), static_cast<void*>(&session->id)}) {
    tav.SessionEnd(static_cast<TavSession_s*>(pointer));
    EXPECT_EQ(Complaints(), Lines{"error: Tav: TavSessionEnd called with an invalid session"});
  }
  tav.AddStringValue(value, "n", "v");
  tav.AddProductInfoValue("Key", value);
  tav.LogEvent(event);
  tav.SessionEnd(session);
  Stop();
  EXPECT_EQ(Complaints(), Lines{});
  EXPECT_EQ(EventsNamed("event").size(), 1u);
}

TEST_F(SessionsTest, EventsOfANullSessionBelongToTheImpliedOne) {
  Start();
  tav.LogEvent(tav.SessionNewEvent(nullptr, "event"));
  tav.LogEvent(tav.SessionNewCommandEvent(nullptr, "command"));
  tav.LogEvent(tav.SessionNewErrorEvent(nullptr, "code", ""));
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: TavSessionNewEvent called with an invalid session",
                   "error: Tav: TavSessionNewCommandEvent called with an invalid session",
                   "error: Tav: TavSessionNewErrorEvent called with an invalid session"}));
  Stop();
  ASSERT_EQ(Events().size(), 5u);
  EXPECT_EQ(NamesIn(TextAt(Events()[0].Get(), "s")),
            (Lines{"$b", "event", "std-Cmd", "std-Error", "$e"}));
}

}  // namespace
}  // namespace Tav::Testing
