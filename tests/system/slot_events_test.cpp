// What a host reports through each group of slots, as it arrives at the gateway.
#include <string>
#include <utility>

#include "system/slot_fixture.h"

namespace Tav::Testing {
namespace {

using SlotEvents = SlotTest;

TEST_F(SlotEvents, Events) {
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
  EXPECT_EQ(Told(), (Lines{
                        R"(1 {"g":"$b"})",
                        R"(1 {"m":"Open","v":{"File":"b.pdf","Pages":12.0,"Zoom":0.1}})",
                        R"(1 {"m":"Bare"})",
                        R"(1 {"g":"$e"})",
                    }));
}

TEST_F(SlotEvents, SessionsPlacesAndIdle) {
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
  EXPECT_EQ(Told(), (Lines{
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

TEST_F(SlotEvents, CountersAndAggregates) {
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
  tav_->FlushAggregates();  // nothing is left
  tav_->SessionFlushAggregates(session);
  tav_->SessionAggregateValue(session, "load", "cpu", -1);
  tav_->SessionEnd(session);
  tav_->IncrementCounter("menu", "last");
  Stop();
  EXPECT_EQ(Told(), (Lines{
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

TEST_F(SlotEvents, CommandsAndErrors) {
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
  EXPECT_EQ(Told(), (Lines{
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

TEST_F(SlotEvents, AnErrorKeepsItsFirstFiftyTraceItems) {
  Initialize();
  TavEvent_s* const error = tav_->NewErrorEvent("Deep", nullptr);
  for (int i = 0; i < 60; ++i) {
    tav_->AddTraceItem(error, std::to_string(i).c_str(), nullptr, nullptr);
  }
  tav_->LogEvent(error);
  Stop();
  const JsonPtr arrived = Arrived("std-Error");
  const json_t* const event = json_object_get(json_array_get(arrived.Get(), 0), "event");
  const json_t* const items = json_object_get(json_object_get(event, "v"), "std-Trace");
  ASSERT_EQ(json_array_size(items), 50u);
  EXPECT_EQ(JsonStringView(json_object_get(json_array_get(items, 49), "std-Loc")), "49");
}

TEST_F(SlotEvents, Components) {
  Initialize();
  TavComponent_s* const viewer = tav_->CreateComponentAnalytics();
  TavComponent_s* const reader = tav_->CreateComponentAnalytics();
  viewer->SetComponent(viewer, "Viewer", "1");
  reader->SetComponent(reader, "Viewer", "2");
  const std::string longName(300, 'n');
  viewer->LogEvent(viewer, viewer->NewEvent(viewer, "Open"));
  tav_->LogEvent(tav_->NewEvent("Between"));
  reader->LogEvent(reader, reader->NewEvent(reader, "Open"));
  reader->LogEvent(reader, reader->NewEvent(reader, longName.c_str()));
  reader->IncrementCounter(reader, "Menu", "Open");
  viewer->Release(viewer);
  reader->Release(reader);
  Stop();
  const std::string cutName = "Viewer_" + longName.substr(0, 255 - 7);
  EXPECT_EQ(Told(), (Lines{
                        R"(1 {"g":"$b"})",
                        R"(1 {"m":"Viewer_Open"})",
                        R"(1 {"m":"Between"})",
                        R"(1 {"m":"Viewer_Open"})",
                        R"(1 {"m":")" + cutName + R"("})",
                        R"(1 {"m":"Viewer_Menu","v":{"Open":1.0}})",
                        R"(1 {"g":"$e"})",
                    }));
  // Records change with the component, its version included.
  Lines components;
  for (const JsonPtr& record : Records()) {
    std::string component = Member(record, "can") + Member(record, "cav");
    if (components.empty() || components.back() != component) {
      components.push_back(std::move(component));
    }
  }
  EXPECT_EQ(components, (Lines{"", R"("Viewer""1")", "", R"("Viewer""2")", ""}));
}

TEST_F(SlotEvents, WithoutImpliedRecordsOnlyEventsArrive) {
  tav_->SetStateFlags(1, 0);
  Initialize();
  TavSession_s* const session = tav_->SessionBegin();
  tav_->LogPlace("Page");
  tav_->SessionLogPlace(session, "Page");
  tav_->LogIdle();
  tav_->LogEvent(tav_->NewEvent("Open"));
  tav_->LogEvent(tav_->SessionNewCommandEvent(session, "Copy"));
  tav_->SessionEnd(session);
  Stop();
  EXPECT_EQ(Told(), (Lines{
                        R"(1 {"m":"Open"})",
                        R"(2 {"m":"std-Cmd","v":{"std-Name":"Copy"}})",
                    }));
}

}  // namespace
}  // namespace Tav::Testing
