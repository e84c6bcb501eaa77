// Everything that a host can report, as it arrives at the gateway.
#include <string>

#include "system/host.h"

namespace Tav::Testing {
namespace {

using Events = HostTest;

TEST_F(Events, CarryTheirPropertiesInOrderOfTheFirstCall) {
  Initialize();
  TavEvent_s* const event = tav_->NewEvent(" Open ");
  tav_->AddEventProperty(event, "File", "a.pdf");
  tav_->AddNumericEventProperty(event, "Pages", 12);
  tav_->AddEventProperty(event, "File", "b.pdf");
  tav_->AddNumericEventProperty(event, "Zoom", 0.1);
  tav_->LogEvent(event);

  TavEvent_s* const large = tav_->NewEvent("Large");
  for (const char* name : {"First", "Second"}) {
    tav_->AddEventProperty(large, name, std::string(60000, 'x').c_str());
  }
  tav_->LogEvent(large);
  tav_->LogEvent(tav_->NewEvent("  "));
  tav_->LogEvent(tav_->NewEvent("Bare"));
  Stop();
  EXPECT_EQ(ArrivedEvents(), (Lines{
                                 R"(1 {"g":"$b"})",
                                 R"(1 {"m":"Open","v":{"File":"b.pdf","Pages":12.0,"Zoom":0.1}})",
                                 R"(1 {"m":"Bare"})",
                                 R"(1 {"g":"$e"})",
                             }));
}

TEST_F(Events, CarryTheirSessionAlsoAfterItsEnd) {
  Initialize();
  TavSession_s* const first = tav_->SessionBegin();
  TavSession_s* const second = tav_->SessionBegin();
  tav_->SessionLogPlace(first, "Page");
  tav_->LogPlace("Start");
  tav_->SessionLogIdle(second);
  tav_->LogIdle();
  TavEvent_s* const late = tav_->SessionNewEvent(first, "Late");
  tav_->LogEvent(tav_->SessionNewEvent(second, "Right"));
  tav_->SessionEnd(first);
  tav_->LogEvent(late);
  tav_->SessionEnd(second);
  Stop();
  EXPECT_EQ(ArrivedEvents(), (Lines{
                                 R"(1 {"g":"$b"})",
                                 R"(2 {"g":"$b"})",
                                 R"(1 {"g":"Page"})",
                                 R"(3 {"g":"$b"})",
                                 R"(3 {"g":"Start"})",
                                 R"(2 {"g":"$i"})",
                                 R"(3 {"g":"$i"})",
                                 R"(2 {"m":"Right"})",
                                 R"(1 {"g":"$e"})",
                                 R"(1 {"m":"Late"})",
                                 R"(2 {"g":"$e"})",
                                 R"(3 {"g":"$e"})",
                             }));
}

TEST_F(Events, SumUpCountersAndAggregatesAtEachFlush) {
  Initialize();
  TavSession_s* const session = tav_->SessionBegin();
  for (int i = 0; i < 3; ++i) {
    tav_->IncrementCounter("menu", "open");
    tav_->SessionIncrementCounter(session, "menu", "close");
  }
  tav_->AggregateValue("menu", "open", 0.5);  // stays a counter
  tav_->AggregateValue("load", "cpu", 3);
  tav_->AggregateValue("load", "cpu", 5);
  tav_->AggregateValue("load", "cpu", 2);
  tav_->FlushAggregates();
  tav_->FlushAggregates();  // there is nothing left
  tav_->SessionFlushAggregates(session);
  tav_->SessionAggregateValue(session, "load", "cpu", -1);
  tav_->SessionEnd(session);
  tav_->IncrementCounter("menu", "last");
  Stop();
  EXPECT_EQ(ArrivedEvents(), (Lines{
                                 R"(1 {"g":"$b"})",
                                 R"(2 {"g":"$b"})",
                                 R"(2 {"m":"load","v":{"cpusum":10.0,"cpucount":3.0,"cpumax":5.0,)"
                                 R"("cpumin":2.0,"cpuaverage":3.333}})",
                                 R"(2 {"m":"menu","v":{"open":3.5}})",
                                 R"(1 {"m":"menu","v":{"close":3.0}})",
                                 R"(1 {"m":"load","v":{"cpusum":-1.0,"cpucount":1.0,"cpumax":-1.0,)"
                                 R"("cpumin":-1.0,"cpuaverage":-1.0}})",
                                 R"(1 {"g":"$e"})",
                                 R"(2 {"m":"menu","v":{"last":1.0}})",
                                 R"(2 {"g":"$e"})",
                             }));
}

TEST_F(Events, CarryBreadcrumbsInErrors) {
  Initialize();
  TavSession_s* const session = tav_->SessionBegin();
  tav_->LogPlace("Page");
  tav_->LogEvent(tav_->NewCommandEvent(" Paste "));
  TavEvent_s* const copy = tav_->SessionNewCommandEvent(session, "Copy");
  tav_->AddEventProperty(copy, "Format", "text");
  tav_->LogEvent(copy);
  TavEvent_s* const error = tav_->NewErrorEvent("E1", "broken");
  tav_->AddTraceItem(error, "main+12", "host.exe", "line 3");
  tav_->AddTraceItem(error, nullptr, "host.exe", "");
  tav_->LogEvent(error);
  tav_->LogEvent(tav_->SessionNewErrorEvent(session, "E2", ""));
  tav_->SessionEnd(session);
  Stop();
  EXPECT_EQ(ArrivedEvents(),
            (Lines{
                R"(1 {"g":"$b"})",
                R"(2 {"g":"$b"})",
                R"(2 {"g":"Page"})",
                R"(2 {"m":"std-Cmd","v":{"std-Name":"Paste"}})",
                R"(1 {"m":"std-Cmd","v":{"std-Name":"Copy","Format":"text"}})",
                R"(2 {"m":"std-Error","v":{"std-ErrCode":"E1","std-ErrMsg":"broken",)"
                R"("std-Trace":[{"std-Loc":"main+12","std-Lib":"host.exe",)"
                R"("std-Meta":"line 3"},{"std-Lib":"host.exe"}],)"
                R"("std-Place":["Page"],"std-Cmd":["Paste"]}})",
                R"(1 {"m":"std-Error","v":{"std-ErrCode":"E2","std-Cmd":["Copy"]}})",
                R"(1 {"g":"$e"})",
                R"(2 {"g":"$e"})",
            }));
}

}  // namespace
}  // namespace Tav::Testing
