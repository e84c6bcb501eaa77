// FilterTexts of tav.hpp over the real library: what a filter sees and what then arrives.
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "support/records.h"
#include "support/table_fixture.h"

// After the library's own headers, which declare TavLoader.
#include <tav/tav.hpp>

namespace Tav::Testing {
namespace {

// Shortens every text, and drops events with the texts "drop" and "throw".
std::optional<std::string> Scrub(std::string_view name, std::string_view text) {
  if (text == "throw") {
    throw std::runtime_error("filter");
  }
  if (text == "drop") {
    return std::nullopt;
  }
  return std::string(name) + '=' + std::string(text.substr(0, 3));
}

class CppFilterTest : public TableTest {
 protected:
  CppFilterTest() {
    Start();
    Complaints();
  }

  const Host::Table host_ = Host::FilterTexts<Scrub>(Host::Table(&tav));
};

TEST_F(CppFilterTest, EveryTextOfAnEventPasses) {
  host_.NewEvent("Plain").Add("Path", "secret").Add("Size", 7).Log();
  Host::Session session(host_);
  session.NewEvent("InSession").Add("Path", "secret").Log();
  session.NewErrorEvent("code-1", "secret").Log();
  session.End();
  // As a plug-in in C does.
  TavComponent_s* const plugin = host_.Get()->CreateComponentAnalytics();
  plugin->SetComponent(plugin, "Plugin", "1");
  TavEvent_s* const event = plugin->NewEvent(plugin, "Used");
  plugin->AddEventProperty(plugin, event, "Path", "secret");
  plugin->LogEvent(plugin, event);
  TavEvent_s* const error = plugin->NewErrorEvent(plugin, "code-2", "secret");
  plugin->AddTraceItem(plugin, error, "location", "library", nullptr);
  plugin->LogEvent(plugin, error);
  plugin->Release(plugin);
  EXPECT_EQ(Complaints(), Lines{});
  Stop();

  EXPECT_EQ(PropertiesOf("Plain"), R"({"Path":"Path=sec","Size":7.0})");
  EXPECT_EQ(PropertiesOf("InSession"), R"({"Path":"Path=sec"})");
  EXPECT_EQ(PropertiesOf("std-Error"),
            R"({"std-ErrCode":"std-ErrCode=cod","std-ErrMsg":"std-ErrMsg=sec"})");
  EXPECT_EQ(PropertiesOf("Plugin_Used"), R"({"Path":"Path=sec"})");
  EXPECT_EQ(PropertiesOf("Plugin_std-Error"),
            R"({"std-ErrCode":"std-ErrCode=cod","std-ErrMsg":"std-ErrMsg=sec","std-Trace":[)"
            R"({"std-Loc":"std-Loc=loc","std-Lib":"std-Lib=lib","std-Meta":"std-Meta="}]})");
}

TEST_F(CppFilterTest, AnEventWithADroppedTextIsNotSent) {
  host_.NewEvent("Dropped").Add("a", "kept").Add("b", "drop").Add("c", "kept").Log();
  host_.NewEvent("Dropped").Add("a", "throw").Log();
  host_.NewErrorEvent("E1", "drop").AddTraceItem("", "", "").Log();
  host_.NewErrorEvent("drop", "").Log();
  host_.NewErrorEvent("E2", "").AddTraceItem("", "drop", "").Log();
  host_.NewEvent("Dropped").Add("a", "kept").Discard();
  const Lines complaints = Complaints();
  EXPECT_EQ(complaints.size(), 6u);
  for (const std::string& line : complaints) {
    EXPECT_TRUE(line.starts_with("warning: JD: AddTavEvent: discarding '")) << line;
  }
  host_.NewEvent("Kept").Add("a", "kept").Log();
  Stop();
  EXPECT_EQ(EventsNamed("Dropped").size() + EventsNamed("std-Error").size(), 0u);
  EXPECT_EQ(EventsNamed("Kept").size(), 1u);
}

}  // namespace
}  // namespace Tav::Testing
