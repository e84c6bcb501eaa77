// tav.hpp over the real library: what reaches the gateway and what the library logs.
#include <cstring>
#include <utility>

#include "support/records.h"
#include "support/table_fixture.h"

// After the library's own headers, which declare TavLoader.
#include <tav/tav.hpp>

namespace Tav::Testing {
namespace {

class CppWrapperTest : public TableTest {
 protected:
  size_t CountOf(const char* name) const { return EventsNamed(name).size(); }
  Host::Run StartRun() const { return {host_, "Editor", "4.2", "4.2.0.118", TAV_LANGUAGE_EN_US}; }
  // Since the last call, `count` events were discarded, each with one WARN, and nothing else was
  // wrong.
  void ExpectDiscarded(size_t count) {
    const Lines complaints = Complaints();
    EXPECT_EQ(complaints.size(), count);
    for (const std::string& line : complaints) {
      EXPECT_TRUE(line.starts_with("warning: JD: AddTavEvent: discarding '")) << line;
    }
  }

  const Host::Table host_{&tav};
};

TEST_F(CppWrapperTest, AnEventIsConsumedOnce) {
  Start();
  Host::Event event = host_.NewEvent("Once").Add("Text", "t").Add("Number", int64_t{7});
  Host::Event taken(std::move(event));
  event.Add("Late", 1);
  event.Log();
  taken.Add("More", 0.5f);
  taken.Log();
  taken.Log();
  taken.Add("Late", 1);
  EXPECT_FALSE(event);
  EXPECT_FALSE(taken);
  tav.LogEvent(host_.NewEvent("Released").Release());
  Stop();
  EXPECT_EQ(PropertiesOf("Once"), R"({"Text":"t","Number":7.0,"More":0.5})");
  EXPECT_EQ(CountOf("Released"), 1u);
  EXPECT_EQ(Complaints(), Lines{});
}

// The sanitizers find leaks.
TEST_F(CppWrapperTest, AnEventThatIsNotLoggedIsNeitherSentNorLeaked) {
  {
    const Host::Event beforeTheRun = host_.NewEvent("Early");
  }
  Start();
  Complaints();
  {
    Host::Event event = host_.NewEvent("Destroyed").Add("Half", "of it");
    event = host_.NewEvent("Replaced");
    event = host_.NewEvent("Logged").Add("Kept", 1);
    event.Log();
    const Host::Session session(host_);
    const Host::Event inSession = session.NewErrorEvent("E1", "").AddTraceItem("at", "", "");
    const Host::Event command = host_.NewCommandEvent("Edit.Paste");
    const Host::Event full = host_.NewEvent("Full").Add("Text", std::string(99000, 'x'));
  }
  ExpectDiscarded(5);
  Stop();
  EXPECT_EQ(PropertiesOf("Logged"), R"({"Kept":1.0})");
  EXPECT_EQ(Events().size(), 5u) << "one event and the marks of two sessions";
}

TEST_F(CppWrapperTest, AnEventIsDiscardedAtAnySizeWithOneWarning) {
  Start();
  Complaints();
  const std::string text(100000, 'x');
  // The last ones are near the size at which the host's own addition exceeds the limit.
  for (const size_t size : {1u, 4000u, 50000u, 97000u, 99800u, 99850u, 99880u, 99900u, 100000u}) {
    host_.NewEvent("Discarded").Add("Text", std::string_view(text).substr(0, size)).Discard();
    ExpectDiscarded(1);
  }
  Host::Event many = host_.NewEvent("Discarded");
  for (int i = 0; i < 5000; ++i) {
    many.Add("n" + std::to_string(i), i);
  }
  many.Add("Discarded A", "taken");
  many.Discard();
  ExpectDiscarded(1);
  // A text that is cut still exceeds the limit of its event.
  host_.NewEvent("Discarded").Add("Text", std::string_view(std::string(200000, 'x'))).Log();
  host_.NewErrorEvent("E1", std::string_view(std::string(102400, 'x'))).Log();
  const std::string_view part = std::string_view(text).substr(0, 40000);
  host_.NewErrorEvent("E2", "").AddTraceItem(part, part, part).Log();
  ExpectDiscarded(3);
  Stop();
  EXPECT_EQ(CountOf("Discarded") + CountOf("std-Error"), 0u);
}

TEST_F(CppWrapperTest, TextsOfEveryTypeAndLengthArriveWhole) {
  Start();
  const std::string text = "Opened,not this";
  const std::string longestName(TAV_MAX_NAME_BYTES, 'n');
  // No two parts of it are alike.
  std::string line = "ll";
  for (int number = 0; line.size() < 99000; ++number) {
    line += std::to_string(number) + ' ';
  }
  host_.NewEvent(std::string_view(text).substr(0, 6))
      .Add(u8"\u00FC", std::string_view("zero\0behind", 11))
      .Add("none", nullptr)
      .Add("no view", std::string_view())
      .Add(std::string_view(line).substr(0, 2), std::string_view(line).substr(0, 2))
      .Log();
  // Around the sizes of the buffers that views are copied to.
  const size_t lengthsSent[] = {255, 256, 511, 512, 4095, 4096, 32767, 32768, 99000};
  for (const size_t length : lengthsSent) {
    host_.NewEvent("Long").Add("Text", std::string_view(line).substr(0, length)).Log();
  }
  host_.NewEvent(std::string_view(longestName + "cut off").substr(0, 255)).Log();
  EXPECT_EQ(Complaints(), Lines{});
  host_.NewEvent(std::string_view(longestName + "n")).Log();
  EXPECT_EQ(Complaints(), Lines{"error: Tav: TavNewEvent called with an invalid event name"});
  Stop();

  EXPECT_EQ(PropertiesOf("Opened"), R"({"ü":"zero","none":"","no view":"","ll":"ll"})");
  const std::vector<JsonPtr> events = EventsNamed("Long");
  ASSERT_EQ(events.size(), std::size(lengthsSent));
  for (size_t i = 0; i < events.size(); ++i) {
    EXPECT_TRUE(TextAt(json_object_get(events[i].Get(), "v"), "Text") ==
                line.substr(0, lengthsSent[i]))
        << lengthsSent[i];
  }
  EXPECT_EQ(CountOf(longestName.c_str()), 1u);
}

TEST_F(CppWrapperTest, OnlyTheRunThatStartedTerminates) {
  {
    const Host::Run refused(host_, "no good name", "4.2", "", TAV_LANGUAGE_NONE);
    EXPECT_FALSE(refused);
    EXPECT_EQ(refused.Status(), TAV_BAD_PRODUCT);
  }
  Host::Run outer;
  {
    Host::Run run = StartRun();
    EXPECT_TRUE(run);
    EXPECT_EQ(StartRun().Status(), TAV_ALREADY_INITIALIZED);
    outer = std::move(run);
    EXPECT_FALSE(run);
  }
  host_.NewEvent("Still running").Log();
  outer.Terminate();
  outer.Terminate();
  EXPECT_EQ(outer.Status(), TAV_OK);
  EXPECT_EQ(CountOf("Still running"), 1u);
  ExpectNotLogged("TavTerminate called with no manager defined");
}

TEST_F(CppWrapperTest, AComponentReportsUnderItsOwnName) {
  EXPECT_FALSE(Host::Component(host_, "Early", "1"));
  Complaints();
  const Host::Run run = StartRun();
  Host::Component component(host_, "Replaced", "1");
  component = Host::Component(host_, "Spelling", std::string_view("1.3beta").substr(0, 3));
  ASSERT_TRUE(component);
  EXPECT_STREQ(component.Get()->name, "Spelling");
  EXPECT_STREQ(component.Get()->version, "1.3");
  component.NewEvent("Checked").Add("Words", 59).Log();
  component.NewCommandEvent("Check").Log();
  component.NewErrorEvent("E7", "no dictionary").Log();
  component.IncrementCounter("Words", "Unknown");
  component.AggregateValue("Time", "Seconds", 0.25);
  Stop();
  EXPECT_EQ(PropertiesOf("Spelling_Checked"), R"({"Words":59.0})");
  EXPECT_EQ(PropertiesOf("Spelling_Words"), R"({"Unknown":1.0})");
  for (const char* const name : {"Spelling_std-Cmd", "Spelling_std-Error", "Spelling_Time"}) {
    EXPECT_EQ(CountOf(name), 1u) << name;
  }
  EXPECT_EQ(Complaints(), Lines{});
}

TEST_F(CppWrapperTest, ListsAndMapsReachTheProductEnvironment) {
  Start();
  host_.AddProductInfoList("Plugins", {"Spelling", "Export", "Spelling"});
  host_.AddProductInfoMap("Screen", {{"Vendor", "V"}, {"Width", 1920}});
  EXPECT_EQ(Complaints(), Lines{});
  host_.AddProductInfoList(" \t", {"lost"});
  host_.AddProductInfoMap("my std-Key", {{"lost", 1}});
  host_.AddProductInfoMap(std::string(256, 'k'), {{"lost", 1}});
  EXPECT_EQ(Complaints().size(), 3u);
  ExpectLogged("error: Tav: TavAddProductInfoValue failed because of bad input key: my std-Key");
  host_.NewEvent("e").Log();
  Stop();
  std::string environment;
  for (const JsonPtr& record : Records()) {
    environment += Testing::Text(record.Get());
  }
  EXPECT_NE(
      environment.find(
          R"("Plugins:Export":"","Plugins:Spelling":"","Screen.Vendor":"V","Screen.Width":1920.0)"),
      std::string::npos)
      << environment;
}

TEST_F(CppWrapperTest, PulledDataIsFreedAndMayBePushedBack) {
  const Host::Run run = StartRun();
  while (host_.PullData()) {
  }
  host_.NewEvent("Pulled").Log();
  Host::PulledData first = host_.PullData();
  Host::PulledData data = std::move(first);
  EXPECT_FALSE(first);
  ASSERT_TRUE(data);
  // A cut record is refused.
  host_.PushData(std::string_view(data.Get()).substr(0, std::strlen(data.Get()) / 2));
  host_.PushData(data.Get());
  EXPECT_TRUE(host_.Commit());
  EXPECT_NE(LineWith("PushData: rejecting data that is no record"), "");
  EXPECT_EQ(CountOf("Pulled"), 1u);
}

#ifdef TAV_HAS_LOADING

TEST(CppWrapperLibraryTest, SaysWhyItIsNotLoadedAndDoesNothing) {
  Host::Library missing(L"Z:\\no such folder\\tav.dll");
  EXPECT_FALSE(missing);
  EXPECT_STREQ(missing.Error(), "the library cannot be loaded: system error 126");
  EXPECT_STREQ(Host::Library::BesideProgram(L"no such tav.dll").Error(),
               "the library cannot be loaded: system error 126");
  EXPECT_STREQ(Host::Library(L"cabinet.dll").Error(),
               "another library, which does not export TavLoader: system error 127");
  EXPECT_EQ(GetModuleHandleW(L"cabinet.dll"), nullptr);
  EXPECT_STREQ(Host::Library::BesideProgram(L"other_version.dll").Error(),
               "the library does not serve interface version 13");
  EXPECT_EQ(GetModuleHandleW(L"other_version.dll"), nullptr);
  EXPECT_STREQ(Host::Library().Error(), "nothing was loaded");

  missing.NewEvent("e").Add("n", 1).Log();
  const Host::Run run(missing, "P", "1", "1.0", TAV_LANGUAGE_NONE);
  EXPECT_EQ(run.Status(), Host::kNotLoaded);
  missing = Host::Library();
  EXPECT_STREQ(missing.Error(), "nothing was loaded");
}

#endif

}  // namespace
}  // namespace Tav::Testing
