#include "api/sessions.h"

#include <algorithm>
#include <cctype>

#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

class SessionsTest : public TableTest {
 protected:
  // Names of events and markers, in order, of the session with this id.
  static Lines NamesIn(const std::string& sessionId) {
    Lines names;
    for (const JsonPtr& event : Events()) {
      if (TextAt(event.Get(), "s") == sessionId) {
        names.push_back(TextAt(event.Get(), "m") + TextAt(event.Get(), "g"));
      }
    }
    return names;
  }
};

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
  // The place is looked at before the session.
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
  tav.SessionLogPlace(session, "place");
  tav.SessionLogPlace(nullptr, "place");
  tav.SessionLogIdle(session);
  tav.SessionLogIdle(nullptr);
  tav.SessionEnd(session);  // the leak checker of a sanitized build tells whether it is freed
  tav.SessionEnd(nullptr);
  EXPECT_EQ(Complaints(), (Lines{"error: Tav: TavSessionLogPlace called with an invalid session",
                                 "error: Tav: TavSessionLogPlace called with an invalid session",
                                 "error: Tav: TavSessionLogIdle called with an invalid session",
                                 "error: Tav: TavSessionLogIdle called with an invalid session",
                                 "error: Tav: TavSessionEnd called with an invalid session",
                                 "error: Tav: TavSessionEnd called with an invalid session"}));
  Stop();
  EXPECT_EQ(EventsNamed("place").size() + EventsNamed("$e").size() + EventsNamed("menu").size(),
            0u);
}

TEST_F(SessionsTest, WithoutALibraryRunningEachCallSaysSo) {
  TavSession_s* const session = tav.SessionBegin();
  ASSERT_NE(session, nullptr);
  EXPECT_PRED1(IsSessionId, std::string(session->id.View()));
  tav.LogPlace("place");
  tav.SessionLogPlace(session, "place");
  tav.LogIdle();
  tav.SessionLogIdle(session);
  tav.SessionIncrementCounter(session, "menu", "open");
  tav.SessionEnd(session);
  EXPECT_EQ(Complaints(), (Lines{"error: Tav: TavSessionBegin called with no manager defined",
                                 "error: Tav: TavLogPlace called with no manager defined",
                                 "error: Tav: TavSessionLogPlace called with no manager defined",
                                 "error: Tav: TavLogIdle called with no manager defined",
                                 "error: Tav: TavSessionLogIdle called with no session defined",
                                 "error: Tav: TavSessionEnd called with no manager defined"}));
}

}  // namespace
}  // namespace Tav::Testing
