// tav.hpp over a table that records the calls: each function calls its slot, objects free what they
// own once, strings are terminated and cut as documented, and nothing is allocated.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <tav/tav.hpp>

#include "support/replaced_new.h"
#include "system/slots.h"

namespace Tav::Testing {
namespace {

using Lines = std::vector<std::string>;

// The calls through RecordingTable as they would stand in C++, with "*" for handles and sinks.
Lines calls;
// The strings of the last call.
Lines lastTexts;
// If false, the slots do nothing and allocate nothing.
bool recording = true;

template <typename Argument>
std::string Show(Argument argument) {
  if constexpr (std::is_arithmetic_v<Argument>) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(argument));
    return text;
  } else if (argument == nullptr) {
    return "null";
  } else if constexpr (std::is_same_v<Argument, const char*>) {
    lastTexts.push_back(argument);
    return '"' + std::string(argument) + '"';
  } else {
    return "*";
  }
}

constexpr size_t kTableSlots = sizeof(TavEntryTable) / sizeof(void*);
const char* memberNames[kTableSlots + sizeof(TavComponent_s) / sizeof(void*)];
TavComponent_s componentRecord = {};

// `Index` is that of the member's name in memberNames.
template <size_t Index, typename Result, typename... Arguments>
Result TAV_CALL Record(Arguments... arguments) {
  if (recording) {
    lastTexts.clear();
    std::string line;
    ((line += (line.empty() ? "" : ", ") + Show(arguments)), ...);
    calls.push_back(memberNames[Index] + ('(' + line) + ')');
  }
  if constexpr (std::is_same_v<Result, TavComponent_s*>) {
    return &componentRecord;
  } else if constexpr (std::is_pointer_v<Result>) {
    static char object = 0;
    return reinterpret_cast<Result>(&object);
  } else if constexpr (!std::is_void_v<Result>) {
    return Result();
  }
}

template <size_t Index, typename Result, typename... Arguments>
void Put(Result(TAV_CALL*& member)(Arguments...), const char* name) {
  memberNames[Index] = name;
  member = Record<Index, Result, Arguments...>;
}

#define PUT_SLOT(slot, member, result, arguments) Put<slot>(table.member, #member);
#define PUT_WORD(member)                                                                      \
  Put<kTableSlots + offsetof(TavComponent_s, member) / sizeof(void*)>(componentRecord.member, \
                                                                      "Component." #member)

const TavEntryTable* RecordingTable() {
  static TavEntryTable table = {};
  calls.clear();
  TAV_PUBLISHED_SLOTS(PUT_SLOT)
  PUT_WORD(SetComponent), PUT_WORD(Release), PUT_WORD(NewEvent), PUT_WORD(NewCommandEvent);
  PUT_WORD(NewErrorEvent), PUT_WORD(IncrementCounter), PUT_WORD(AggregateValue);
  return &table;
}

// A call of a Table's function, and the calls of slots that it makes.
struct Forwarded {
  void (*call)(const Host::Table& tav);
  Lines slots;
};
// clang-format off
#define CALL(call, ...) {[](const Host::Table& tav) { tav.call; }, {__VA_ARGS__}}
// clang-format on
// The slot has the function's name and arguments.
#define SAME(call) CALL(call, #call)

const Forwarded kForwarded[] = {
    SAME(LogPlace("p")),
    SAME(LogIdle()),
    SAME(IncrementCounter("g", "c")),
    SAME(AggregateValue("e", "p", 1.5)),
    SAME(FlushAggregates()),
    SAME(AddProductInfo("k", "v")),
    CALL(AddProductInfo("k", 2), R"(AddNumericProductInfo("k", 2))"),
    CALL(AddProductInfoList("list", std::array<std::string_view, 2>{"a", "b"}),
         "NewListValue()",
         R"(AddListValue(*, "a"))",
         R"(AddListValue(*, "b"))",
         R"(AddProductInfoValue("list", *))"),
    CALL(AddProductInfoMap("map", {{"a", "t"}, {"b", 7u}}),
         "NewMapValue()",
         R"(AddStringValue(*, "a", "t"))",
         R"(AddNumericValue(*, "b", 7))",
         R"(AddProductInfoValue("map", *))"),
    CALL(AddProductInfoList("std-", {"refused"}), R"(AddProductInfoValue("std-", null))"),
    SAME(AddSessionEnvInfo("k", "v")),
    CALL(AddSessionEnvInfo("k", 3L), R"(AddNumericSessionEnvInfo("k", 3))"),
    SAME(AddTag(6, "t")),
    SAME(OptOut()),
    SAME(SetAuxiliaryString("a")),
    SAME(SetVersionQualifier("q")),
    SAME(SetCustomerIdentifier("c")),
    SAME(SetUserIdentifier("u")),
    SAME(SetProductContext("x")),
    SAME(SetProductComponentName("n")),
    SAME(SetCacheDirectory("d")),
    SAME(SetCacheSize(10)),
    SAME(SetSendThreshold(11)),
    CALL(SetSendInterval(12), "SetSendInterval(12, 0)"),
    SAME(SetSendInterval(13, 3)),
    SAME(EnablePersistentInterval()),
    CALL(SetStateFlags(true, false), "SetStateFlags(1, 0)"),
    CALL(SetDebugFlags(true), "SetDebugFlags(1)"),
    SAME(EnableDebugLog()),
    CALL(SetMessageSink(nullptr), "SetMessageSink(null)"),
    CALL(SetLineSink([](const char*) {}), "SetLineSink(*)"),
    SAME(Suspend()),
    SAME(Resume()),
    SAME(PushData("d")),
    SAME(Commit()),
    SAME(GetLastServerAccessTime()),
    SAME(GetLastActiveTime()),
    SAME(GetVersion()),
    CALL(PullData(), "PullData()", "FreeData(*)"),
    CALL(NewEvent("e").Add("t", "v").Add("n", 1).Log(),
         R"(NewEvent("e"))",
         R"(AddEventProperty(*, "t", "v"))",
         R"(AddNumericEventProperty(*, "n", 1))",
         "LogEvent(*)"),
    CALL(NewCommandEvent("c").Log(), R"(NewCommandEvent("c"))", "LogEvent(*)"),
    CALL(NewErrorEvent("c", "m").AddTraceItem("at", "in", "more").Log(),
         R"(NewErrorEvent("c", "m"))",
         R"(AddTraceItem(*, "at", "in", "more"))",
         "LogEvent(*)"),
};

TEST(CppWrapperCallsTest, EachFunctionCallsItsSlot) {
  const Host::Table tav(RecordingTable());
  for (const Forwarded& forwarded : kForwarded) {
    calls.clear();
    forwarded.call(tav);
    EXPECT_EQ(calls, forwarded.slots);
  }
}

TEST(CppWrapperCallsTest, ObjectsFreeOnceWhatTheyOwn) {
  const Host::Table tav(RecordingTable());
  {
    const Host::Run run(tav, "P", "1", "1.0", TAV_LANGUAGE_NONE);
    Host::Session session(tav);
    session.LogPlace("p");
    session.LogIdle();
    session.IncrementCounter("g", "c");
    session.AggregateValue("e", "p", 0.5);
    session.FlushAggregates();
    session.NewEvent("e").Log();
    session.NewCommandEvent("c").Log();
    session.NewErrorEvent("c", "m").Log();
    Host::Component component(tav, "n", "v");

    // Objects that were moved from neither act nor free anything.
    const Host::Session movedSession(std::move(session));
    session.LogIdle();
    session.End();
    const Host::Component movedComponent(std::move(component));
    component.IncrementCounter("e", "p");
    Host::Run none;
    none = Host::Run();
    none.Terminate();
  }
  EXPECT_EQ(
      calls,
      (Lines{R"(Initialize("P", "1", "1.0", 0))", "SessionBegin()", R"(SessionLogPlace(*, "p"))",
             "SessionLogIdle(*)", R"(SessionIncrementCounter(*, "g", "c"))",
             R"(SessionAggregateValue(*, "e", "p", 0.5))", "SessionFlushAggregates(*)",
             R"(SessionNewEvent(*, "e"))", "LogEvent(*)", R"(SessionNewCommandEvent(*, "c"))",
             "LogEvent(*)", R"(SessionNewErrorEvent(*, "c", "m"))", "LogEvent(*)",
             "CreateComponentAnalytics()", R"(Component.SetComponent(*, "n", "v"))",
             "Component.Release(*)", "SessionEnd(*)", "Terminate()"}));
}

TEST(CppWrapperCallsTest, WithoutATableNothingHappens) {
  const Host::Table tav;
  EXPECT_FALSE(tav);
  for (const Forwarded& forwarded : kForwarded) {
    forwarded.call(tav);
  }
  EXPECT_TRUE(tav.Commit());
  EXPECT_EQ(tav.GetLastServerAccessTime(), -1);
  EXPECT_EQ(tav.GetLastActiveTime(), -1);
  EXPECT_STREQ(tav.GetVersion(), "");
  EXPECT_FALSE(tav.PullData());
  char identifier[2] = "x";
  tav.GetEndpointIdentifier(identifier, sizeof(identifier));
  EXPECT_STREQ(identifier, "");

  const Host::Run run(tav, "P", "1", "1.0", TAV_LANGUAGE_NONE);
  EXPECT_FALSE(run);
  EXPECT_EQ(run.Status(), Host::kNotLoaded);
  Host::Event event = tav.NewEvent("e").Add("n", 1);
  EXPECT_FALSE(event);
  event.Discard();
  Host::Session session(tav);
  EXPECT_FALSE(session);
  session.LogPlace("p");
  session.NewEvent("e").Log();
  session.End();
  const Host::Component component(tav, "n", "v");
  EXPECT_FALSE(component);
  component.IncrementCounter("e", "p");
  component.NewEvent("e").Log();
}

#if TAV_REPLACES_NEW
std::atomic<int> allocations{0};

// Functions with one text and with several, of each class, and what frees itself.
void PassEverywhere(const Host::Table& tav, std::string_view text) {
  const Host::Run run(tav, text, text, text, TAV_LANGUAGE_NONE);
  tav.LogPlace(text);
  tav.AggregateValue(text, text, 1.5);
  tav.AddProductInfo(text, 2);
  tav.AddProductInfoList("list", {text, text});
  tav.AddProductInfoMap("map", {{text, text}, {text, 7}});
  tav.PushData(text);
  const Host::PulledData pulled = tav.PullData();
  tav.NewEvent(text).Add(text, text).Add(text, 1).Log();
  const Host::Event discarded = tav.NewErrorEvent(text, text).AddTraceItem(text, text, text);
  const Host::Session session(tav);
  session.IncrementCounter(text, text);
  session.NewErrorEvent(text, text).Log();
  const Host::Component component(tav, text, text);
  component.AggregateValue(text, text, 0.5);
  component.NewErrorEvent(text, text).Log();
}

TEST(CppWrapperCallsTest, NothingIsAllocated) {
  const Host::Table tav(RecordingTable());
  const std::string text(200000, 't');
  recording = false;
  onAllocation = [](size_t) { ++allocations; };
  for (const Forwarded& forwarded : kForwarded) {
    forwarded.call(tav);
  }
  for (const size_t length : {0u, 255u, 256u, 4000u, 4096u, 32000u, 40000u, 102400u, 200000u}) {
    PassEverywhere(tav, std::string_view(text).substr(0, length));
  }
  const int counted = allocations.exchange(0);
  recording = true;
  EXPECT_EQ(counted, 0);
  ::operator delete(::operator new(1));
  onAllocation = nullptr;
  EXPECT_EQ(allocations, 1) << "allocations are not counted";
}
#endif

std::vector<size_t> LengthsOfLastTexts() {
  std::vector<size_t> lengths;
  for (const std::string& text : lastTexts) {
    lengths.push_back(text.size());
  }
  return lengths;
}

TEST(CppWrapperCallsTest, CopiesOfOneCallAreCutAtTheLargestBuffer) {
  using Lengths = std::vector<size_t>;
  const Host::Table tav(RecordingTable());
  const std::string text(300000, 't');
  const std::string_view view = text;

  for (const size_t length : {102399u, 102400u, 300000u}) {
    tav.PushData(view.substr(0, length));
    EXPECT_EQ(LengthsOfLastTexts(), Lengths{102399}) << length;
  }
  tav.AddProductInfo(text, view.substr(0, 102399));
  EXPECT_EQ(LengthsOfLastTexts(), (Lengths{300000, 102399})) << "terminated strings are not copied";
  // The last strings are cut first.
  tav.AddProductInfo(view.substr(0, 60000), view.substr(0, 60000));
  EXPECT_EQ(LengthsOfLastTexts(), (Lengths{60000, 42398}));
  Host::Event event = tav.NewEvent("e");
  event.AddTraceItem(view, view.substr(0, 5), nullptr);
  EXPECT_EQ(calls.back(), "AddTraceItem(*, \"" + text.substr(0, 102399) + "\", \"\", null)");
  event.Log();
}

TEST(CppWrapperCallsTest, CharactersAreNotSplitByTheCut) {
  const Host::Table tav(RecordingTable());
  // Characters of two, three and four bytes, cut at each of their bytes.
  for (const std::string character : {"\u00FC", "\u20AC", "\U0001F4C4"}) {
    std::string characters;
    while (characters.size() < 102500) {
      characters += character;
    }
    for (size_t shift = 0; shift < character.size(); ++shift) {
      const std::string shifted = std::string(shift, 't') + characters;
      tav.PushData(std::string_view(shifted));
      const std::string& cut = lastTexts.front();
      EXPECT_EQ((cut.size() - shift) % character.size(), 0u) << character << shift;
      EXPECT_GT(cut.size() + character.size(), 102399u);
      EXPECT_TRUE(shifted.starts_with(cut));
    }
  }
  // Bytes that are not UTF-8.
  tav.PushData(std::string_view(std::string(102400, '\x85')));
  EXPECT_GT(lastTexts.front().size(), 102390u);
}

}  // namespace
}  // namespace Tav::Testing
