#include "support/records.h"
#include "support/table_fixture.h"

namespace Tav::Testing {
namespace {

class ComponentsTest : public TableTest {
 protected:
  TavComponent_s* Component(const char* name, const char* version) {
    TavComponent_s* const component = tav.CreateComponentAnalytics();
    component->SetComponent(component, name, version);
    return component;
  }

  // The events' names, each as "component/version: name", in order of arrival.
  static Lines Attributed() {
    Lines lines;
    for (const JsonPtr& record : Records()) {
      const std::string component =
          TextAt(record.Get(), "can") + "/" + TextAt(record.Get(), "cav") + ": ";
      size_t index = 0;
      json_t* event = nullptr;
      json_array_foreach(json_object_get(record.Get(), "rt"), index, event) {
        if (json_object_get(event, "m") != nullptr) {
          lines.push_back(component + TextAt(event, "m"));
        }
      }
    }
    return lines;
  }
};

TEST_F(ComponentsTest, AComponentKeepsItsFirstName) {
  Start();
  TavComponent_s* const component = tav.CreateComponentAnalytics();
  ASSERT_NE(component, nullptr);
  EXPECT_EQ(component->magic, 0xDEADCACAu);
  EXPECT_EQ(component->name, nullptr);
  EXPECT_EQ(component->version, nullptr);
  EXPECT_FALSE(component->IsVersionSupported(component, 0));
  EXPECT_TRUE(component->IsVersionSupported(component, 1));
  EXPECT_TRUE(component->IsVersionSupported(component, 2));
  EXPECT_FALSE(component->IsVersionSupported(component, 3));
  EXPECT_STREQ(component->GetVersion(component), "2.8.2.1187559");

  component->SetComponent(component, "Viewer", nullptr);
  component->SetComponent(component, "Other", "2");
  EXPECT_STREQ(component->name, "Viewer");
  EXPECT_STREQ(component->version, "");
  EXPECT_EQ(Complaints(), Lines{"error: Component name already set"});

  // Without its magic a record is left alone; a leak checker sees that the second release frees.
  component->magic = 0;
  component->Release(component);
  component->magic = TAV_COMPONENT_MAGIC;
  component->Release(component);
}

TEST_F(ComponentsTest, EventsCarryTheComponent) {
  Start();
  TavComponent_s* const viewer = Component("Viewer", "1.5");
  TavComponent_s* const newViewer = Component("Viewer", "1.6");
  tav.LogEvent(tav.NewEvent("Open"));
  TavEvent_s* const event = viewer->NewEvent(viewer, "Open");
  viewer->AddEventProperty(viewer, event, "kind", "pdf");
  viewer->AddNumericEventProperty(viewer, event, "pages", 3);
  viewer->LogEvent(viewer, event);
  tav.LogEvent(viewer->NewCommandEvent(viewer, "Print"));
  TavEvent_s* const error = newViewer->NewErrorEvent(newViewer, "42", "");
  newViewer->AddTraceItem(newViewer, error, "location", "", "");
  newViewer->LogEvent(newViewer, error);
  viewer->Release(viewer);
  newViewer->Release(newViewer);
  Stop();
  EXPECT_EQ(Attributed(), (Lines{"/: Open", "Viewer/1.5: Viewer_Open", "Viewer/1.5: Viewer_std-Cmd",
                                 "Viewer/1.6: Viewer_std-Error"}));
  EXPECT_EQ(PropertiesOf("Viewer_Open"), R"({"kind":"pdf","pages":3.0})");
  EXPECT_EQ(PropertiesOf("Viewer_std-Cmd"), R"({"std-Name":"Print"})");
  EXPECT_EQ(PropertiesOf("Viewer_std-Error"),
            R"({"std-ErrCode":"42","std-Trace":[{"std-Loc":"location"}],"std-Cmd":["Print"]})");
  ExpectLogged("Tav: Creating Command event 'Print', sessionID: , component: Viewer");
  EXPECT_EQ(Complaints(), Lines{});
}

TEST_F(ComponentsTest, LongEventNamesAreCutBetweenCharacters) {
  Start();
  const std::string umlaut = "\xC3\xBC";
  const std::string component(252, 'c');
  TavComponent_s* const even = Component((component + "c").c_str(), "1");
  TavComponent_s* const odd = Component(component.c_str(), "1");
  TavComponent_s* const tooLong = Component((component + "cc" + umlaut).c_str(), "1");
  even->LogEvent(even, even->NewEvent(even, (umlaut + umlaut).c_str()));
  odd->LogEvent(odd, odd->NewEvent(odd, (umlaut + umlaut).c_str()));
  tooLong->LogEvent(tooLong, tooLong->NewEvent(tooLong, "e"));
  for (TavComponent_s* const each : {even, odd, tooLong}) {
    each->Release(each);
  }
  Stop();
  EXPECT_EQ(EventsNamed(component + "c_").size(), 1u);
  EXPECT_EQ(EventsNamed(component + "_" + umlaut).size(), 1u);
  EXPECT_EQ(EventsNamed(component + "cc").size(), 1u);
  EXPECT_EQ(Complaints(), Lines{});
}

// In the journal such a text would make the entry, and all that follow it, unreadable.
TEST_F(ComponentsTest, TextsThatAreNotUtf8AreReadAsLatin1) {
  Start();
  TavComponent_s* const component = Component("M\xFC", "1\xE9");
  EXPECT_STREQ(component->name, "M\xC3\xBC");
  for (TavEvent_s* const event :
       {component->NewEvent(component, "\xDF"), component->NewCommandEvent(component, "open"),
        component->NewErrorEvent(component, "7", nullptr), tav.NewEvent("later")}) {
    tav.LogEvent(event);
  }
  component->Release(component);
  Stop();
  EXPECT_EQ(Attributed(), (Lines{"M\xC3\xBC/1\xC3\xA9: M\xC3\xBC_\xC3\x9F",
                                 "M\xC3\xBC/1\xC3\xA9: M\xC3\xBC_std-Cmd",
                                 "M\xC3\xBC/1\xC3\xA9: M\xC3\xBC_std-Error", "/: later"}));
}

TEST_F(ComponentsTest, AggregatesAreKeptByComponent) {
  Start();
  TavComponent_s* const viewer = Component("Viewer", "1.5");
  TavComponent_s* const editor = Component("Editor", "9");
  tav.IncrementCounter("menu", "open");
  viewer->IncrementCounter(viewer, "menu", "open");
  viewer->IncrementCounter(viewer, "menu", "open");
  editor->AggregateValue(editor, "menu", "open", 7);
  editor->IncrementCounter(editor, "", "open");
  editor->AggregateValue(editor, "menu", "", 1);
  // What was fed outlives the record.
  viewer->Release(viewer);
  editor->Release(editor);
  EXPECT_EQ(Complaints(),
            (Lines{"error: Tav: TifIncrementCounter called with bad event name or property name",
                   "error: Tav: TifAggregateValue called with bad event name or property name"}));
  tav.FlushAggregates();
  Stop();
  EXPECT_EQ(Attributed(), (Lines{"/: menu", "Editor/9: Editor_menu", "Viewer/1.5: Viewer_menu"}));
  EXPECT_EQ(PropertiesOf("menu"), R"({"open":1.0})");
  EXPECT_EQ(PropertiesOf("Viewer_menu"), R"({"open":2.0})");
  EXPECT_EQ(PropertiesOf("Editor_menu"), R"({"opensum":7.0,"opencount":1.0,"openmax":7.0,)"
                                         R"("openmin":7.0,"openaverage":7.0})");
}

TEST_F(ComponentsTest, WithoutANameReportsAreTheHosts) {
  Start();
  TavComponent_s* const component = tav.CreateComponentAnalytics();
  component->LogEvent(component, component->NewEvent(component, "Open"));
  EXPECT_EQ(Complaints(), Lines{});
  component->LogEvent(component, component->NewCommandEvent(component, "Print"));
  component->LogEvent(component, component->NewErrorEvent(component, "42", ""));
  component->IncrementCounter(component, "menu", "open");
  EXPECT_EQ(Complaints(),
            (Lines{"warning: Creating component Command 'Print' with no component name set",
                   "warning: Creating component Error code '42' with no component name set",
                   "warning: Creating a component aggregate with no component name set"}));
  component->Release(component);
  Stop();
  EXPECT_EQ(Attributed(), (Lines{"/: Open", "/: std-Cmd", "/: std-Error", "/: menu"}));
}

TEST_F(ComponentsTest, RecordsAreMadeWhileRunningAndOutliveTermination) {
  EXPECT_EQ(tav.CreateComponentAnalytics(), nullptr);
  Start();
  TavComponent_s* const viewer = Component("Viewer", "1.5");
  Stop();
  viewer->LogEvent(viewer, viewer->NewEvent(viewer, "Open"));
  viewer->Release(viewer);
  EXPECT_EQ(
      Complaints(),
      (Lines{"error: Failed to create Component Analytics as Analytics has not been initialized",
             "error: Tav: TavLogEvent called with no manager defined. Event: Viewer_Open"}));
}

}  // namespace
}  // namespace Tav::Testing
