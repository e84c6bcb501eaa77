#include "demo/comparison.h"

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <string>
#include <vector>

#include "demo/presentation.h"
#include "demo/record_headers.h"
#include "gateway/json_text.h"

namespace Demo {
namespace {

// Two threads, a document's session in the implied one, a plug-in, a text beyond ASCII.
constexpr char kReport[] = R"({
  "sitting": 1, "total": 16, "product": "Foolscap", "product_version": "4.2",
  "full_version": "4.2.0.1", "library_version": "2.8", "component": "Spell",
  "component_version": "1.3",
  "settings": [
    {"call": "SetVersionQualifier", "key": "", "value": "beta"},
    {"call": "SetCustomerIdentifier", "key": "", "value": "Müller"},
    {"call": "SetUserIdentifier", "key": "", "value": "zoe"},
    {"call": "AddTag", "key": "4", "value": "Trial"},
    {"call": "AddProductInfoMap", "key": "Window", "value": {"Width": 1920}},
    {"call": "AddProductInfoList", "key": "Plugins", "value": ["Spell"]},
    {"call": "AddSessionEnvInfo", "key": "Licence", "value": "Trial"}],
  "notes": [
    {"seq": 1, "thread": "user", "session": 1, "kind": "begin", "name": "implied"},
    {"seq": 2, "thread": "user", "session": 1, "kind": "event", "name": "Opened",
     "properties": {"File": "四半期 \"a\\b\".md"}},
    {"seq": 3, "thread": "user", "session": 3, "kind": "begin", "name": "a.md"},
    {"seq": 4, "thread": "user", "session": 3, "kind": "place", "name": "Page"},
    {"seq": 5, "thread": "user", "session": 3, "kind": "command", "name": "Save"},
    {"seq": 6, "thread": "user", "session": 3, "kind": "value", "name": "Typing", "detail": "Keys",
     "value": 3},
    {"seq": 7, "thread": "user", "session": 3, "kind": "place", "name": "Page"},
    {"seq": 8, "thread": "user", "session": 3, "kind": "value", "name": "Typing", "detail": "Keys",
     "value": 5.5},
    {"seq": 9, "thread": "user", "session": 3, "kind": "error", "name": "E1", "detail": "full",
     "properties": {"KB": 2}, "trace": [{"location": "Write", "library": "", "meta": "x"}]},
    {"seq": 11, "thread": "user", "session": 3, "kind": "idle"},
    {"seq": 12, "thread": "user", "session": 3, "kind": "end"},
    {"seq": 16, "thread": "user", "session": 1, "kind": "end"},
    {"seq": 10, "thread": "spelling", "session": 1, "kind": "event", "component": "Spell",
     "name": "Checked"},
    {"seq": 13, "thread": "spelling", "session": 1, "kind": "count", "component": "Spell",
     "name": "Words", "detail": "bad"},
    {"seq": 14, "thread": "spelling", "session": 1, "kind": "count", "component": "Spell",
     "name": "Words", "detail": "bad"},
    {"seq": 15, "thread": "spelling", "session": 1, "kind": "count", "component": "Spell",
     "name": "Words", "detail": "good"}]})";

std::string Entry(const std::string& session,
                  const std::string& members,
                  const std::string& component = "") {
  return R"({"record":1,"component":")" + component + R"(","event":{"t":"","s":")" + session +
         R"(",)" + members + "}}";
}

std::string Marker(const std::string& session, const std::string& name) {
  return Entry(session, R"("g":")" + name + '"');
}

std::string Named(const std::string& session,
                  const std::string& name,
                  const std::string& properties,
                  const std::string& component = "") {
  return Entry(session,
               R"("m":")" + name + R"(","v":)" + properties + R"(,"se":{"Licence":"Trial"})",
               component);
}

using Arrivals = std::vector<std::string>;

constexpr char kError[] =
    R"({"std-ErrCode":"E1","std-ErrMsg":"full","KB":2.0,"Seq":9.0,
        "std-Trace":[{"std-Loc":"Write","std-Meta":"x"}],
        "std-Place":["Page","Page"],"std-Cmd":["Save"]})";
constexpr char kTyping[] =
    R"({"Keyssum":8.5,"Keyscount":2.0,"Keysmax":5.5,"Keysmin":3.0,"Keysaverage":4.25})";

// The report's as they have to arrive; places in this list that the tests below change.
enum Place : std::size_t {
  kBegin,
  kOpened,
  kDocument,
  kPage,
  kSave,
  kChecked,
  kPageAgain,
  kFailed,
  kIdle,
  kTotal,
  kEnd,
  kWords,
  kLast
};
Arrivals Good() {
  return {Marker("i", "$b"),
          Named("i", "Opened", R"({"File":"四半期 \"a\\b\".md","Seq":2.0})"),
          Marker("d", "$b"),
          Marker("d", "Page"),
          Named("d", "std-Cmd", R"({"std-Name":"Save","Seq":5})"),
          Named("i", "Spell_Checked", R"({"Seq":10})", "Spell"),
          Marker("d", "Page"),
          Named("d", "std-Error", kError),
          Marker("d", "$i"),
          Named("d", "Typing", kTyping),
          Marker("d", "$e"),
          Named("i", "Spell_Words", R"({"bad":2.0,"good":1.0})", "Spell"),
          Marker("i", "$e")};
}

Comparison CompareWith(const Arrivals& arrived, const char* reportText = kReport) {
  std::string list;
  for (const std::string& entry : arrived) {
    list += (list.empty() ? "" : ",") + entry;
  }
  std::string error;
  const Gateway::JsonPtr report = Gateway::ParseJson(reportText, error);
  const Gateway::JsonPtr events = Gateway::ParseJson('[' + list + ']', error);
  const auto comparison = Compare(std::array<const json_t*, 1>{report.get()}, events.get(), error);
  EXPECT_TRUE(comparison) << error;
  return comparison.value_or(Comparison{});
}

Comparison CompareWithout(std::size_t place) {
  Arrivals arrived = Good();
  arrived.erase(arrived.begin() + static_cast<std::ptrdiff_t>(place));
  return CompareWith(arrived);
}

TEST(Comparison, BalancesWhenThreadsMixButKeepTheirOrder) {
  const Comparison found = CompareWith(Good());
  EXPECT_TRUE(found.Balances()) << testing::PrintToString(found.findings);
  EXPECT_EQ(found.handedOver, 13U);
  EXPECT_EQ(found.numbers, 5U);
  EXPECT_EQ(found.byKind[static_cast<std::size_t>(Kind::Place)].arrived, 2U);
  ASSERT_EQ(found.sessions.size(), 2U);
  EXPECT_EQ(found.sessions[1].label, "a.md");
  EXPECT_EQ(found.sessions[1].arrived, (KindCounts{0, 1, 1, 2, 1, 1, 2}));
  EXPECT_EQ(found.byComponent.at("Spell"), (KindCounts{1, 0, 0, 0, 0, 1, 0}));
}

TEST(Comparison, NoticesEachLossAndEachDouble) {
  for (std::size_t place = kBegin; place <= kLast; ++place) {
    const Comparison lost = CompareWithout(place);
    EXPECT_EQ(lost.lost, 1U) << place;
    EXPECT_FALSE(lost.Balances()) << place;

    Arrivals arrived = Good();
    arrived.push_back(arrived[place]);
    const Comparison doubled = CompareWith(arrived);
    EXPECT_EQ(doubled.doubled, 1U) << place;
    EXPECT_EQ(doubled.outOfOrder, 0U) << place;
    EXPECT_FALSE(doubled.Balances()) << place;
  }
}

TEST(Comparison, NoticesWhatIsOutOfOrderOrUnknown) {
  for (const auto& [first, second] : {std::pair{kOpened, kSave},
                                      {kSave, kPageAgain},
                                      {kTotal, kEnd},
                                      {kWords, kLast},
                                      {kDocument, kPage}}) {
    Arrivals arrived = Good();
    std::swap(arrived[first], arrived[second]);
    EXPECT_GT(CompareWith(arrived).outOfOrder, 0U) << first;
  }
  for (const std::string& stranger :
       {Named("i", "Opened", R"({"Seq":99.0})"), Marker("i", "Page"), Marker("x", "$b"),
        Named("d", "Reading", kTyping), Named("i", "Typing", kTyping)}) {
    Arrivals arrived = Good();
    arrived.push_back(stranger);
    const Comparison found = CompareWith(arrived);
    EXPECT_EQ(found.unknown, 1U) << stranger;
    EXPECT_FALSE(found.Balances()) << stranger;
  }
}

TEST(Comparison, NoticesEveryKindOfAlteration) {
  const std::string error = kError;
  const auto changed = [](std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
  };
  const std::pair<Place, std::string> altered[] = {
      {kOpened, Named("i", "Opened", R"({"File":"???","Seq":2})")},
      {kOpened, Named("i", "Opened", R"({"Seq":2})")},
      {kOpened, Named("i", "Opened", R"({"File":"四半期 \"a\\b\".md","More":1,"Seq":2})")},
      {kOpened, Named("i", "Opened", R"({"File":4,"Seq":2})")},
      {kOpened, Named("i", "Closed", R"({"File":"四半期 \"a\\b\".md","Seq":2})")},
      {kOpened, Entry("i", R"("m":"Opened","v":{"File":"四半期 \"a\\b\".md","Seq":2})")},
      {kSave, Named("i", "std-Cmd", R"({"std-Name":"Save","Seq":5})")},
      {kSave, Named("d", "std-Cmd", R"({"std-Name":"Open","Seq":5})")},
      {kChecked, Named("i", "Spell_Checked", R"({"Seq":10})", "Style")},
      {kFailed, Named("d", "std-Error", changed(error, R"("Write")", R"("Read")"))},
      {kFailed, Named("d", "std-Error", changed(error, R"("Page","Page")", R"("Page")"))},
      {kFailed, Named("d", "std-Error", changed(error, R"(["Save"])", R"(["Save","Save"])"))},
      {kTotal, Named("d", "Typing", changed(kTyping, "8.5", "8.4"))},
      {kTotal, Named("d", "Typing", changed(kTyping, "4.25", "4.2"))},
      {kWords, Named("i", "Spell_Words", R"({"bad":1.0,"good":1.0})", "Spell")},
  };
  for (const auto& [place, event] : altered) {
    Arrivals arrived = Good();
    arrived[place] = event;
    const Comparison found = CompareWith(arrived);
    EXPECT_EQ(found.altered, 1U) << event;
    EXPECT_FALSE(found.Balances()) << event;
  }
}

TEST(Comparison, ExpectsOfEachFlushWhatWasCountedSinceTheLast) {
  const char* const report = R"({"total": 7, "notes": [
      {"seq": 1, "thread": "user", "session": 1, "kind": "begin"},
      {"seq": 2, "thread": "user", "session": 1, "kind": "count", "name": "Menu", "detail": "Cut"},
      {"seq": 3, "thread": "user", "session": 1, "kind": "count", "name": "Menu", "detail": "Cut"},
      {"seq": 4, "thread": "user", "session": 1, "kind": "flush"},
      {"seq": 5, "thread": "user", "session": 1, "kind": "count", "name": "Menu", "detail": "Cut"},
      {"seq": 6, "thread": "user", "session": 1, "kind": "event", "name": "Left"},
      {"seq": 7, "thread": "user", "session": 1, "kind": "end"}]})";
  const auto compare = [&](const char* first, const char* second) {
    const auto total = [](const char* cuts) {
      return Entry("i", std::string(R"("m":"Menu","v":{"Cut":)") + cuts + '}');
    };
    return CompareWith({Marker("i", "$b"), total(first), Entry("i", R"("m":"Left","v":{"Seq":6})"),
                        total(second), Marker("i", "$e")},
                       report);
  };
  EXPECT_TRUE(compare("2.0", "1.0").Balances());
  EXPECT_EQ(compare("1.0", "2.0").altered, 2U);
}

TEST(Comparison, TellsTheRunsOfAHostApart) {
  const char* const later = R"({"sitting": 3, "total": 3,
    "settings": [{"call": "AddSessionEnvInfo", "key": "Licence", "value": "Bought"}],
    "notes": [{"seq": 10001, "thread": "user", "session": 10001, "kind": "begin"},
              {"seq": 10002, "thread": "user", "session": 10001, "kind": "event", "name": "Opened"},
              {"seq": 10003, "thread": "user", "session": 10001, "kind": "end"}]})";
  const auto compare = [&](const std::string& opened) {
    // The later run's events arrive amid those of the first, whose thread has the same name.
    std::string list = Marker("n", "$b") + ',' + opened + ',';
    for (const std::string& entry : Good()) {
      list += entry + ',';
    }
    std::string error;
    const Gateway::JsonPtr first = Gateway::ParseJson(kReport, error);
    const Gateway::JsonPtr second = Gateway::ParseJson(later, error);
    const Gateway::JsonPtr events = Gateway::ParseJson('[' + list + Marker("n", "$e") + ']', error);
    const std::array<const json_t*, 2> reports = {first.get(), second.get()};
    return Compare(reports, events.get(), error).value_or(Comparison{});
  };
  const Comparison good =
      compare(Entry("n", R"("m":"Opened","v":{"Seq":10002},"se":{"Licence":"Bought"})"));
  EXPECT_TRUE(good.Balances()) << testing::PrintToString(good.findings);
  EXPECT_EQ(good.bySitting.at(1).arrived, 13U);
  EXPECT_EQ(good.bySitting.at(3).arrived, 3U);
  const Comparison mixedUp = compare(Named("n", "Opened", R"({"Seq":10002})"));
  EXPECT_EQ(mixedUp.altered, 1U) << "the session environment is the first run's";
}

TEST(Comparison, RefusesAReportThatContradictsItself) {
  const std::string begin = R"({"seq":1,"session":1,"kind":"begin"})";
  const std::string end = R"({"seq":9,"session":1,"kind":"end"})";
  for (const std::string& text : {
           std::string(R"({"total":0})"),
           R"({"total":3,"notes":[)" + begin + ',' + end + "]}",
           R"({"total":1,"notes":[)" + begin + "]}",
           R"({"total":3,"notes":[)" + begin + ',' + end + ',' + begin + "]}",
           R"({"total":3,"notes":[)" + begin + ',' + end + R"(,{"session":1,"kind":"idle"}]})",
           R"({"total":3,"notes":[)" + begin + ',' + end +
               R"(,{"seq":2,"session":2,"kind":"idle"}]})",
           R"({"total":3,"notes":[)" + begin + ',' + end +
               R"(,{"seq":2,"session":1,"kind":"jump"}]})",
       }) {
    std::string error;
    const Gateway::JsonPtr report = Gateway::ParseJson(text, error);
    const Gateway::JsonPtr events = Gateway::ParseJson("[]", error);
    EXPECT_FALSE(Compare(std::array<const json_t*, 1>{report.get()}, events.get(), error)) << text;
    EXPECT_NE(error, "");
  }
}

constexpr char kRecord[] = R"([{"record":{"pn":"Foolscap","pv":"4.2 - beta","sv":"2.8","c":"Müller",
  "u":"f5de886a9b0b61b74dbfe7623a283191","pt":{"LicensingModel":["Trial"]},
  "pe":{"Plugins:Spell":"","Window.Width":1920.0,"std-FullVersion":"4.2.0.1",
        "std-Incremental":"false","t":""},"can":"Spell","cav":"1.3"}}])";

HeaderCheck CheckRecord(const std::string& from = "", const std::string& to = "") {
  std::string text = kRecord;
  text.replace(text.find(from), from.size(), to);
  std::string error;
  const Gateway::JsonPtr report = Gateway::ParseJson(kReport, error);
  const Gateway::JsonPtr records = Gateway::ParseJson(text, error);
  EXPECT_TRUE(records) << error;
  return CheckHeaders(std::array<const json_t*, 1>{report.get()}, records.get());
}

TEST(RecordHeaders, SayWhatTheHostHasSet) {
  const HeaderCheck good = CheckRecord();
  EXPECT_TRUE(good.Balances()) << testing::PrintToString(good.findings);
  EXPECT_EQ(good.productValues, 2U);
  const std::pair<const char*, const char*> changes[] = {
      {"4.2 - beta", "4.2"},
      {"Müller", "Muller"},
      {"f5de886a9b0b61b74dbfe7623a283191", "zoe"},
      {R"("LicensingModel")", R"("Edition")"},
      {R"("Plugins:Spell":"",)", ""},
      {"1920.0", "1921.0"},
      {R"("Window.Width")", R"("Window.Depth":1,"Window.Width")"},
      {"1.3", "1.4"},
  };
  for (const auto& [from, to] : changes) {
    EXPECT_EQ(CheckRecord(from, to).altered, 1U) << from;
  }
  EXPECT_FALSE(CheckRecord(R"("false")", R"("true")").Balances()) << "no full list in a first run";
}

TEST(Verdict, NeedsEventsAndGoodRecords) {
  const Comparison good = CompareWith(Good());
  EXPECT_TRUE(Balances(good, {}, {}));
  EXPECT_FALSE(Balances(good, CheckRecord("1.3", "1.4"), {}));
  EXPECT_FALSE(Balances(good, {}, {.badRecords = 1}));
  EXPECT_FALSE(Balances(good, {}, {.doubledRecords = 1}));
  EXPECT_FALSE(Balances(Comparison{}, {}, {}));
}

TEST(RecordExcerpt, SaysHowManyEventsItLeavesOut) {
  const auto record = [](int events) {
    std::string list;
    for (int i = 0; i < events; ++i) {
      list += (i > 0 ? "," : "") + std::string(R"({"m":"E)") + std::to_string(i) + "\"}";
    }
    return R"({"pn":"A","rt":[)" + list + R"(],"can":"C"})";
  };
  const std::string cut = RecordExcerpt(record(5));
  EXPECT_NE(cut.find("\"E2\""), std::string::npos);
  EXPECT_EQ(cut.find("\"E3\""), std::string::npos);
  EXPECT_NE(cut.find("and 2 more"), std::string::npos);
  EXPECT_NE(cut.find("\"can\": \"C\""), std::string::npos);
  EXPECT_EQ(RecordExcerpt(record(3)).find("more"), std::string::npos);
}

}  // namespace
}  // namespace Demo
