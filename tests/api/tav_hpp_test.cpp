// The C++ layer over the table: what it adds to the table, with the library behind it; and that
// each of its functions reaches the entry point of its name, with a table that writes down what is
// called, and that the way there allocates nothing.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

#include "support/records.h"
#include "support/table_fixture.h"

// Behind the library's own headers, which declare TavLoader.
#include <tav/tav.hpp>

// ThreadSanitizer has these operators to itself.
#if defined(__SANITIZE_THREAD__)
#define TAV_COUNTS_ALLOCATIONS 0
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TAV_COUNTS_ALLOCATIONS 0
#endif
#endif
#ifndef TAV_COUNTS_ALLOCATIONS
#define TAV_COUNTS_ALLOCATIONS 1
#endif

#if TAV_COUNTS_ALLOCATIONS
namespace Tav::Testing {
namespace {

// Of the whole process, by operator new.
std::atomic<int> allocations{0};

void* CountedAllocation(size_t size) noexcept {
  ++allocations;
  return std::malloc(size != 0 ? size : 1);
}

void* CountedAllocationOrThrow(size_t size) {
  if (void* const memory = CountedAllocation(size)) {
    return memory;
  }
  throw std::bad_alloc();
}

}  // namespace
}  // namespace Tav::Testing

// All forms, because a sanitizer's do not lead to one another.
void* operator new(size_t size) {
  return Tav::Testing::CountedAllocationOrThrow(size);
}
void* operator new[](size_t size) {
  return Tav::Testing::CountedAllocationOrThrow(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return Tav::Testing::CountedAllocation(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return Tav::Testing::CountedAllocation(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
#endif

namespace Tav::Testing {
namespace {

// What has been called through RecordingTable, as "Name(argument, ...)".
Lines calls;
// Otherwise its entry points do nothing, and allocate nothing.
bool recording = true;

template <typename Argument>
std::string Show(Argument argument) {
  if constexpr (std::is_arithmetic_v<Argument>) {
    return std::to_string(argument);
  } else if (argument == nullptr) {
    return "null";
  } else if constexpr (std::is_same_v<Argument, const char*>) {
    return argument;
  } else {
    return "*";
  }
}

// The table's slots, and behind them the words of a component's record.
constexpr size_t kTableSlots = sizeof(TavEntryTable) / sizeof(void*);
const char* slotNames[kTableSlots + sizeof(TavComponent_s) / sizeof(void*)];
TavComponent_s componentRecord = {};

template <size_t Slot, typename Result, typename... Arguments>
Result TAV_CALL Record(Arguments... arguments) {
  if (recording) {
    std::string line;
    ((line += (line.empty() ? "" : ", ") + Show(arguments)), ...);
    calls.push_back(std::string(slotNames[Slot]) + "(" + line + ")");
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

template <size_t Slot, typename Result, typename... Arguments>
void Put(Result(TAV_CALL*& entry)(Arguments...), const char* name) {
  slotNames[Slot] = name;
  entry = Record<Slot, Result, Arguments...>;
}

#define PUT(name) Put<offsetof(TavEntryTable, name) / sizeof(void*)>(table.name, #name)
#define PUT_WORD(name)                                                                    \
  Put<kTableSlots + offsetof(TavComponent_s, name) / sizeof(void*)>(componentRecord.name, \
                                                                    "Component." #name)

const TavEntryTable* RecordingTable() {
  static TavEntryTable table = {};
  calls.clear();
  PUT(Initialize), PUT(Terminate), PUT(LogPlace), PUT(LogEvent), PUT(LogIdle), PUT(NewEvent);
  PUT(AddEventProperty), PUT(SessionBegin), PUT(SessionEnd), PUT(SessionNewEvent);
  PUT(SessionLogPlace), PUT(SessionLogIdle), PUT(Suspend), PUT(Resume), PUT(AddProductInfo);
  PUT(AddSessionEnvInfo), PUT(SetAuxiliaryString), PUT(EnableDebugLog), PUT(SetMessageSink);
  PUT(SetSendInterval), PUT(SetCacheSize), PUT(SetLineSink), PUT(AddNumericEventProperty);
  PUT(AddNumericProductInfo), PUT(AddNumericSessionEnvInfo), PUT(SetStateFlags), PUT(Commit);
  PUT(SetDebugFlags), PUT(AddProductInfoValue), PUT(NewMapValue), PUT(NewListValue);
  PUT(AddStringValue), PUT(AddNumericValue), PUT(AddListValue), PUT(GetEndpointIdentifier);
  PUT(SetVersionQualifier), PUT(GetVersion), PUT(PullData), PUT(PushData), PUT(FreeData);
  PUT(IncrementCounter), PUT(SessionIncrementCounter), PUT(SetCustomerIdentifier);
  PUT(SetUserIdentifier), PUT(SetProductContext), PUT(SetProductComponentName);
  PUT(AggregateValue), PUT(FlushAggregates), PUT(SessionAggregateValue);
  PUT(SessionFlushAggregates), PUT(SetCacheDirectory), PUT(EnablePersistentInterval);
  PUT(SetSendThreshold), PUT(GetLastServerAccessTime), PUT(GetLastActiveTime), PUT(AddTag);
  PUT(OptOut), PUT(NewCommandEvent), PUT(SessionNewCommandEvent), PUT(NewErrorEvent);
  PUT(SessionNewErrorEvent), PUT(AddTraceItem), PUT(CreateComponentAnalytics);
  PUT_WORD(SetComponent), PUT_WORD(Release), PUT_WORD(NewEvent), PUT_WORD(NewCommandEvent);
  PUT_WORD(NewErrorEvent), PUT_WORD(IncrementCounter), PUT_WORD(AggregateValue);
  return &table;
}

// One call of each function that a Table has, but for those that make something.
void CallEverything(const Host::Table& tav) {
  tav.LogPlace("p");
  tav.LogIdle();
  tav.IncrementCounter("g", "c");
  tav.AggregateValue("e", "p", 1.5);
  tav.FlushAggregates();
  tav.AddProductInfo("k", "v");
  tav.AddProductInfo("k", 2);
  tav.AddProductInfoList("list", std::array<std::string_view, 2>{"a", "b"});
  tav.AddProductInfoMap("map", {{"a", "t"}, {"b", 7u}});
  tav.AddProductInfoList("std-", {"lost"});
  tav.AddSessionEnvInfo("k", "v");
  tav.AddSessionEnvInfo("k", 3L);
  tav.AddTag(TAV_TAG_USER, "t");
  tav.OptOut();
  tav.SetAuxiliaryString("a");
  tav.SetVersionQualifier("q");
  tav.SetCustomerIdentifier("c");
  tav.SetUserIdentifier("u");
  tav.SetProductContext("x");
  tav.SetProductComponentName("n");
  tav.SetCacheDirectory("d");
  tav.SetCacheSize(10);
  tav.SetSendThreshold(11);
  tav.SetSendInterval(12);
  tav.SetSendInterval(13, TAV_UNIT_DAYS);
  tav.EnablePersistentInterval();
  tav.SetStateFlags(true, false);
  tav.SetDebugFlags(true);
  tav.EnableDebugLog();
  tav.SetMessageSink(nullptr);
  tav.SetLineSink([](const char*) {});
  tav.Suspend();
  tav.Resume();
  tav.PushData("d");
}

// One call of everything that takes a text, and what ends by itself.
[[maybe_unused]] void PassEverywhere(const Host::Table& tav, std::string_view text) {
  const Host::Run run(tav, text, text, text, TAV_LANGUAGE_NONE);
  tav.LogPlace(text);
  tav.IncrementCounter(text, text);
  tav.AggregateValue(text, text, 1.5);
  tav.AddProductInfo(text, text);
  tav.AddProductInfo(text, 2);
  tav.AddProductInfoList("list", {text, text});
  tav.AddProductInfoList(text, std::array<std::string_view, 1>{text});
  tav.AddProductInfoMap("map", {{text, text}, {text, 7}});
  tav.AddSessionEnvInfo(text, text);
  tav.AddSessionEnvInfo(text, 3);
  tav.AddTag(TAV_TAG_USER, text);
  tav.SetAuxiliaryString(text);
  tav.SetVersionQualifier(text);
  tav.SetCustomerIdentifier(text);
  tav.SetUserIdentifier(text);
  tav.SetProductContext(text);
  tav.SetProductComponentName(text);
  tav.SetCacheDirectory(text);
  tav.PushData(text);
  const Host::PulledData pulled = tav.PullData();
  tav.NewEvent(text).Add(text, text).Add(text, 1).Log();
  tav.NewCommandEvent(text).Add("n", text).Log();
  const Host::Event discarded = tav.NewErrorEvent(text, text).AddTraceItem(text, text, text);

  const Host::Session session(tav);
  session.LogPlace(text);
  session.IncrementCounter(text, text);
  session.AggregateValue(text, text, 0.5);
  session.NewEvent(text).Log();
  session.NewCommandEvent(text).Log();
  session.NewErrorEvent(text, text).Log();

  const Host::Component plugin(tav, text, text);
  plugin.IncrementCounter(text, text);
  plugin.AggregateValue(text, text, 0.5);
  plugin.NewEvent(text).Log();
  plugin.NewCommandEvent(text).Log();
  plugin.NewErrorEvent(text, text).Log();
}

TEST(TavHppTest, EachFunctionReachesTheEntryPointOfItsName) {
  const Host::Table tav(RecordingTable());
  CallEverything(tav);
  EXPECT_EQ(calls, (Lines{"LogPlace(p)",
                          "LogIdle()",
                          "IncrementCounter(g, c)",
                          "AggregateValue(e, p, 1.500000)",
                          "FlushAggregates()",
                          "AddProductInfo(k, v)",
                          "AddNumericProductInfo(k, 2.000000)",
                          "NewListValue()",
                          "AddListValue(*, a)",
                          "AddListValue(*, b)",
                          "AddProductInfoValue(list, *)",
                          "NewMapValue()",
                          "AddStringValue(*, a, t)",
                          "AddNumericValue(*, b, 7.000000)",
                          "AddProductInfoValue(map, *)",
                          "AddProductInfoValue(std-, null)",
                          "AddSessionEnvInfo(k, v)",
                          "AddNumericSessionEnvInfo(k, 3.000000)",
                          "AddTag(6, t)",
                          "OptOut()",
                          "SetAuxiliaryString(a)",
                          "SetVersionQualifier(q)",
                          "SetCustomerIdentifier(c)",
                          "SetUserIdentifier(u)",
                          "SetProductContext(x)",
                          "SetProductComponentName(n)",
                          "SetCacheDirectory(d)",
                          "SetCacheSize(10)",
                          "SetSendThreshold(11)",
                          "SetSendInterval(12, 0)",
                          "SetSendInterval(13, 3)",
                          "EnablePersistentInterval()",
                          "SetStateFlags(1, 0)",
                          "SetDebugFlags(1)",
                          "EnableDebugLog()",
                          "SetMessageSink(null)",
                          "SetLineSink(*)",
                          "Suspend()",
                          "Resume()",
                          "PushData(d)"}));

  calls.clear();
  tav.NewCommandEvent("c").Log();
  tav.NewErrorEvent("c", "m").AddTraceItem("at", "in", "more").Log();
  EXPECT_TRUE(tav.Commit());
  EXPECT_EQ(tav.GetLastServerAccessTime(), 0);
  EXPECT_EQ(tav.GetLastActiveTime(), 0);
  EXPECT_STREQ(tav.GetVersion(), "");
  EXPECT_TRUE(tav.PullData());
  EXPECT_EQ(calls, (Lines{"NewCommandEvent(c)", "LogEvent(*)", "NewErrorEvent(c, m)",
                          "AddTraceItem(*, at, in, more)", "LogEvent(*)", "Commit()",
                          "GetLastServerAccessTime()", "GetLastActiveTime()", "GetVersion()",
                          "PullData()", "FreeData(*)"}));
}

TEST(TavHppTest, ObjectsEndWhatTheyBegan) {
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

    // What was moved from neither acts nor ends anything.
    Host::Session moved(std::move(session));
    session.LogIdle();
    session.End();
    Host::Run none;
    none = Host::Run();
    none.Terminate();
  }
  EXPECT_EQ(calls, (Lines{"Initialize(P, 1, 1.0, 0)", "SessionBegin()", "SessionLogPlace(*, p)",
                          "SessionLogIdle(*)", "SessionIncrementCounter(*, g, c)",
                          "SessionAggregateValue(*, e, p, 0.500000)", "SessionFlushAggregates(*)",
                          "SessionNewEvent(*, e)", "LogEvent(*)", "SessionNewCommandEvent(*, c)",
                          "LogEvent(*)", "SessionNewErrorEvent(*, c, m)", "LogEvent(*)",
                          "SessionEnd(*)", "Terminate()"}));
}

#if TAV_COUNTS_ALLOCATIONS
TEST(TavHppTest, NothingIsAllocatedThatTheTableDoesNotAllocate) {
  ::operator delete(::operator new(1));
  ASSERT_GT(allocations.exchange(0), 0) << "they are not counted";
  const Host::Table tav(RecordingTable());
  // Every entry point that PassEverywhere should reach with a text is reached.
  PassEverywhere(tav, "t");
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "AddEventProperty(*, t, t)"), 1);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "Component.NewErrorEvent(*, t, t)"), 1);

  const std::string text(200000, 't');
  recording = false;
  for (const size_t length : {0u, 255u, 256u, 4000u, 4096u, 32000u, 40000u, 102400u, 200000u}) {
    allocations = 0;
    PassEverywhere(tav, std::string_view(text).substr(0, length));
    const int counted = allocations;
    EXPECT_EQ(counted, 0) << length;
  }
  allocations = 0;
  CallEverything(tav);
  const int counted = allocations;
  recording = true;
  EXPECT_EQ(counted, 0);
}
#endif

// The lengths of the texts of the last call, which are made of letters.
std::vector<size_t> LengthsOfTexts() {
  std::vector<size_t> lengths;
  std::string line = calls.empty() ? "" : calls.back();
  line.erase(0, line.find('(') + 1);
  for (size_t begin = 0; begin < line.size();) {
    const size_t end = line.find_first_of(",)", begin);
    lengths.push_back(end - begin);
    begin = end + 2;
  }
  return lengths;
}

TEST(TavHppTest, CopiesOfOneCallAreCutBeyondTheLargestBuffer) {
  using Lengths = std::vector<size_t>;
  const Host::Table tav(RecordingTable());
  const std::string text(300000, 't');
  const std::string_view view = text;

  tav.PushData(view.substr(0, 102399));
  EXPECT_EQ(LengthsOfTexts(), Lengths{102399});
  for (const size_t length : {102400u, 300000u}) {
    tav.PushData(view.substr(0, length));
    EXPECT_EQ(LengthsOfTexts(), Lengths{102399});
  }
  tav.PushData(text);
  EXPECT_EQ(LengthsOfTexts(), Lengths{300000}) << "what is terminated is not copied";
  tav.AddProductInfo(text, view.substr(0, 102399));
  EXPECT_EQ(LengthsOfTexts(), (Lengths{300000, 102399}));

  // The last ones are cut, and all of a call together are more than an event can have.
  tav.AddProductInfo(view.substr(0, 60000), view.substr(0, 60000));
  EXPECT_EQ(LengthsOfTexts(), (Lengths{60000, 42398}));
  Host::Event event = tav.NewEvent("e");
  event.AddTraceItem(view, view.substr(0, 5), nullptr);
  EXPECT_EQ(calls.back(), "AddTraceItem(*, " + text.substr(0, 102399) + ", , null)");
  event.Log();

  // Not within a character: of two, three and four bytes, at each of their bytes.
  for (const std::string character : {"\u00FC", "\u20AC", "\U0001F4C4"}) {
    std::string characters;
    while (characters.size() < 102500) {
      characters += character;
    }
    for (size_t shift = 0; shift < character.size(); ++shift) {
      const std::string shifted = std::string(shift, 't') + characters;
      tav.PushData(std::string_view(shifted));
      const size_t length = LengthsOfTexts()[0];
      EXPECT_EQ((length - shift) % character.size(), 0u) << character << shift;
      EXPECT_GT(length + character.size(), 102399u);
      EXPECT_TRUE(calls.back() == "PushData(" + shifted.substr(0, length) + ")");
    }
  }
  // Bytes that are no characters of UTF-8 are cut as well.
  tav.PushData(std::string_view(std::string(102400, '\x85')));
  EXPECT_GT(LengthsOfTexts()[0], 102390u);
}

TEST(TavHppTest, WithoutATableNothingHappens) {
  const Host::Table tav;
  EXPECT_FALSE(tav);
  CallEverything(tav);
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
  Host::Event event = tav.NewEvent("e").Add("n", 1).Add("t", "t").AddTraceItem("a", "b", "c");
  EXPECT_FALSE(event);
  event.Add("n", 1);
  event.Discard();
  event.Log();
  tav.NewErrorEvent("c", "m").Log();
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

class TavHppLibraryTest : public TableTest {
 protected:
  size_t CountOf(const char* name) const { return EventsNamed(name).size(); }
  Host::Run StartRun() const { return {host_, "Editor", "4.2", "4.2.0.118", TAV_LANGUAGE_EN_US}; }

  const Host::Table host_{&tav};
};

TEST_F(TavHppLibraryTest, AnEventIsConsumedOnce) {
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
  // Back to C: who releases, logs.
  tav.LogEvent(host_.NewEvent("Released").Release());
  Stop();
  EXPECT_EQ(PropertiesOf("Once"), R"({"Text":"t","Number":7.0,"More":0.5})");
  EXPECT_EQ(CountOf("Released"), 1u);
  EXPECT_EQ(Complaints(), Lines{});
}

// That nothing leaks is for the sanitizer to say.
TEST_F(TavHppLibraryTest, AnEventThatIsNotLoggedIsNeitherSentNorLeaked) {
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
    Host::Session session(host_);
    const Host::Event inSession = session.NewErrorEvent("E1", "").AddTraceItem("at", "", "");
    const Host::Event command = host_.NewCommandEvent("Edit.Paste");
    const Host::Event full = host_.NewEvent("Full").Add("Text", std::string(99000, 'x'));
  }
  Lines discarded = Complaints();
  Stop();
  EXPECT_EQ(discarded.size(), 5u);
  for (const std::string& line : discarded) {
    EXPECT_TRUE(line.starts_with("warning: JD: AddTavEvent: discarding '")) << line;
  }
  EXPECT_EQ(PropertiesOf("Logged"), R"({"Kept":1.0})");
  Lines sent;
  for (const JsonPtr& event : Events()) {
    sent.push_back(TextAt(event.Get(), "m") + TextAt(event.Get(), "g"));
  }
  EXPECT_EQ(sent.size(), 5u) << "one event and the marks of two sessions";
}

TEST_F(TavHppLibraryTest, AnEventIsDiscardedAtAnyFillWithOneWarning) {
  Start();
  Complaints();
  const std::string text(100000, 'x');
  // The last ones are around the point where the host's own addition is one too many.
  for (const size_t fill : {1u, 4000u, 50000u, 97000u, 99800u, 99850u, 99880u, 99900u, 100000u}) {
    host_.NewEvent("Discarded").Add("Text", std::string_view(text).substr(0, fill)).Discard();
    EXPECT_EQ(Complaints().size(), 1u) << fill;
  }
  Host::Event many = host_.NewEvent("Discarded");
  for (int i = 0; i < 5000; ++i) {
    many.Add("n" + std::to_string(i), i);
  }
  many.Add("Discarded A", "taken");
  many.Discard();
  EXPECT_EQ(Complaints().size(), 1u);
  // A text that is cut on its way is too much for its event all the same.
  host_.NewEvent("Discarded").Add("Text", std::string_view(std::string(200000, 'x'))).Log();
  host_.NewErrorEvent("E1", std::string_view(std::string(102400, 'x'))).Log();
  const std::string_view part = std::string_view(text).substr(0, 40000);
  host_.NewErrorEvent("E2", "").AddTraceItem(part, part, part).Log();
  const Lines cut = Complaints();
  EXPECT_EQ(cut.size(), 3u);
  for (const std::string& line : cut) {
    EXPECT_TRUE(line.starts_with("warning: JD: AddTavEvent: discarding '")) << line;
  }
  Stop();
  EXPECT_EQ(CountOf("Discarded") + CountOf("std-Error"), 0u);
}

TEST_F(TavHppLibraryTest, TextsOfEveryKindAndLengthArriveWhole) {
  Start();
  const std::string text = "Opened,not this";
  const std::string longest(TAV_MAX_NAME_BYTES, 'n');
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
  host_.NewEvent(std::string_view(longest + "cut off").substr(0, 255)).Log();
  EXPECT_EQ(Complaints(), Lines{});
  host_.NewEvent(std::string_view(longest + "n")).Log();
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
  EXPECT_EQ(CountOf(longest.c_str()), 1u);
}

TEST_F(TavHppLibraryTest, ARunThatDidNotBeginEndsNothing) {
  {
    const Host::Run refused(host_, "no good name", "4.2", "", TAV_LANGUAGE_NONE);
    EXPECT_FALSE(refused);
    EXPECT_EQ(refused.Status(), TAV_BAD_PRODUCT);
  }
  Host::Run outer;
  {
    Host::Run run = StartRun();
    EXPECT_TRUE(run);
    {
      EXPECT_EQ(StartRun().Status(), TAV_ALREADY_INITIALIZED);
    }
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

TEST_F(TavHppLibraryTest, AComponentReportsUnderItsOwnNameUntilItIsReleased) {
  EXPECT_FALSE(Host::Component(host_, "Early", "1"));
  Complaints();
  const Host::Run run = StartRun();
  Host::Component spelling(host_, "Spelling", std::string_view("1.3beta").substr(0, 3));
  Host::Component component = Host::Component(host_, "Replaced", "1");
  component = std::move(spelling);
  EXPECT_FALSE(spelling);
  spelling.NewEvent("Lost").Log();
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
  EXPECT_EQ(CountOf("Spelling_Time"), 1u);
  EXPECT_EQ(Complaints(), Lines{});
}

TEST_F(TavHppLibraryTest, ListsAndMapsReachTheProductEnvironment) {
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

TEST_F(TavHppLibraryTest, PulledDataIsFreedAndMayBePushedBack) {
  const Host::Run run = StartRun();
  while (host_.PullData()) {
  }
  host_.NewEvent("Carried").Log();
  Host::PulledData first = host_.PullData();
  Host::PulledData data = std::move(first);
  EXPECT_FALSE(first);
  ASSERT_TRUE(data);
  // As one is that was cut on its way.
  host_.PushData(std::string_view(data.Get()).substr(0, std::strlen(data.Get()) / 2));
  host_.PushData(data.Get());
  EXPECT_TRUE(host_.Commit());
  EXPECT_NE(LineWith("PushData: rejecting data that is no record"), "");
  EXPECT_EQ(CountOf("Carried"), 1u);
}

#ifdef TAV_HAS_LOADING

TEST(TavHppLoadingTest, ALibraryThatCannotBeLoadedSaysWhyAndDoesNothing) {
  Host::Library missing(L"Z:\\no such folder\\tav.dll");
  EXPECT_FALSE(missing);
  EXPECT_STREQ(missing.Error(), "the library cannot be loaded: system error 126");
  EXPECT_STREQ(Host::Library::BesideProgram(L"no such tav.dll").Error(),
               "the library cannot be loaded: system error 126");
  EXPECT_STREQ(Host::Library(L"cabinet.dll").Error(),
               "another library, which does not export TavLoader: system error 127");
  EXPECT_EQ(GetModuleHandleW(L"cabinet.dll"), nullptr) << "it is let go";
  EXPECT_STREQ(Host::Library::BesideProgram(L"other_version.dll").Error(),
               "the library does not serve interface version 13");
  EXPECT_EQ(GetModuleHandleW(L"other_version.dll"), nullptr);
  EXPECT_STREQ(Host::Library().Error(), "nothing was loaded");

  CallEverything(missing);
  const Host::Run run(missing, "P", "1", "1.0", TAV_LANGUAGE_NONE);
  EXPECT_EQ(run.Status(), Host::kNotLoaded);
  missing = Host::Library();
  EXPECT_STREQ(missing.Error(), "nothing was loaded");
}

#endif

}  // namespace
}  // namespace Tav::Testing
