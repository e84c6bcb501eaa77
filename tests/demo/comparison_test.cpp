#include "demo/comparison.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "demo/presentation.h"
#include "gateway/json_text.h"

namespace Demo {
namespace {

// Two threads, a document's session beside the implied one, a plug-in, non-ASCII text.
constexpr char kReport[] = R"({
  "run": 1, "total": 16, "product": "Foolscap", "product_version": "4.2",
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

std::string Event(const std::string& session,
                  const std::string& members,
                  const std::string& component = "") {
  return R"({"record":1,"component":")" + component + R"(","event":{"t":"","s":")" + session +
         R"(",)" + members + "}}";
}

std::string Marker(const std::string& session, const std::string& name) {
  return Event(session, R"("g":")" + name + '"');
}

std::string Named(const std::string& session,
                  const std::string& name,
                  const std::string& properties,
                  const std::string& component = "") {
  return Event(session,
               R"("m":")" + name + R"(","v":)" + properties + R"(,"se":{"Licence":"Trial"})",
               component);
}

using Texts = std::vector<std::string>;

constexpr char kError[] =
    R"({"std-ErrCode":"E1","std-ErrMsg":"full","KB":2.0,"Seq":9.0,
        "std-Trace":[{"std-Loc":"Write","std-Meta":"x"}],
        "std-Place":["Page","Page"],"std-Cmd":["Save"]})";
constexpr char kTyping[] =
    R"({"Keyssum":8.5,"Keyscount":2.0,"Keysmax":5.5,"Keysmin":3.0,"Keysaverage":4.25})";

// What must arrive for kReport; indexes into Good().
enum Entry : std::size_t {
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
  kLast,
};
Texts Good() {
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

// Parses texts that must be JSON.
class Documents {
 public:
  explicit Documents(const Texts& texts) {
    for (const std::string& text : texts) {
      std::string error;
      owned_.push_back(Gateway::ParseJson(text, error));
      all_.push_back(owned_.back().get());
      EXPECT_TRUE(owned_.back()) << error;
    }
  }

  const std::vector<const json_t*>& All() const { return all_; }

 private:
  std::vector<Gateway::JsonPtr> owned_;
  std::vector<const json_t*> all_;
};

Comparison CompareWith(const Texts& arrived, const Texts& reports = {kReport}) {
  std::string list;
  for (const std::string& entry : arrived) {
    list += (list.empty() ? "" : ",") + entry;
  }
  std::string error;
  const auto comparison =
      Compare(Documents(reports).All(), Documents({'[' + list + ']'}).All().front(), error);
  EXPECT_TRUE(comparison) << error;
  return comparison.value_or(Comparison{});
}

TEST(ComparisonTest, BalancesWhenThreadsMixButKeepTheirOrder) {
  const Comparison found = CompareWith(Good());
  EXPECT_TRUE(found.Balances()) << testing::PrintToString(found.findings);
  EXPECT_EQ(found.reported, 13U);
  EXPECT_EQ(found.numbers, 5U);
  EXPECT_EQ(found.byKind[static_cast<std::size_t>(Kind::Place)].arrived, 2U);
  ASSERT_EQ(found.sessions.size(), 2U);
  EXPECT_EQ(found.sessions[1].label, "a.md");
  EXPECT_EQ(found.sessions[1].arrived, (KindCounts{0, 1, 1, 2, 1, 1, 2}));
  EXPECT_EQ(found.byComponent.at("Spell"), (KindCounts{1, 0, 0, 0, 0, 1, 0}));
}

TEST(ComparisonTest, FindsEachLossAndEachDouble) {
  for (std::size_t entry = kBegin; entry <= kLast; ++entry) {
    Texts arrived = Good();
    arrived.erase(arrived.begin() + static_cast<std::ptrdiff_t>(entry));
    const Comparison lost = CompareWith(arrived);
    EXPECT_EQ(lost.lost, 1U) << entry;
    EXPECT_FALSE(lost.Balances()) << entry;

    arrived = Good();
    arrived.push_back(arrived[entry]);
    const Comparison doubled = CompareWith(arrived);
    EXPECT_EQ(doubled.doubled, 1U) << entry;
    EXPECT_EQ(doubled.outOfOrder, 0U) << entry;
    EXPECT_FALSE(doubled.Balances()) << entry;
  }
}

TEST(ComparisonTest, FindsEntriesThatAreOutOfOrderOrUnknown) {
  for (const auto& [first, second] : {std::pair{kOpened, kSave},
                                      {kSave, kPageAgain},
                                      {kTotal, kEnd},
                                      {kWords, kLast},
                                      {kDocument, kPage}}) {
    Texts arrived = Good();
    std::swap(arrived[first], arrived[second]);
    EXPECT_GT(CompareWith(arrived).outOfOrder, 0U) << first;
  }
  for (const std::string& stranger :
       {Named("i", "Opened", R"({"Seq":99.0})"), Marker("i", "Page"), Marker("x", "$b"),
        Named("d", "Reading", kTyping), Named("i", "Typing", kTyping)}) {
    Texts arrived = Good();
    arrived.push_back(stranger);
    const Comparison found = CompareWith(arrived);
    EXPECT_EQ(found.unknown, 1U) << stranger;
    EXPECT_FALSE(found.Balances()) << stranger;
  }
}

TEST(ComparisonTest, FindsEachKindOfAlteration) {
  const std::string error = kError;
  const auto changed = [](std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
  };
  const std::pair<Entry, std::string> altered[] = {
      {kOpened, Named("i", "Opened", R"({"File":"???","Seq":2})")},
      {kOpened, Named("i", "Opened", R"({"Seq":2})")},
      {kOpened, Named("i", "Opened", R"({"File":"四半期 \"a\\b\".md","More":1,"Seq":2})")},
      {kOpened, Named("i", "Opened", R"({"File":4,"Seq":2})")},
      {kOpened, Named("i", "Closed", R"({"File":"四半期 \"a\\b\".md","Seq":2})")},
      {kOpened, Event("i", R"("m":"Opened","v":{"File":"四半期 \"a\\b\".md","Seq":2})")},
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
  for (const auto& [entry, event] : altered) {
    Texts arrived = Good();
    arrived[entry] = event;
    const Comparison found = CompareWith(arrived);
    EXPECT_EQ(found.altered, 1U) << event;
    EXPECT_FALSE(found.Balances()) << event;
  }
}

TEST(ComparisonTest, ExpectsEachFlushToReportTheCountsSinceTheLast) {
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
      return Event("i", std::string(R"("m":"Menu","v":{"Cut":)") + cuts + '}');
    };
    return CompareWith({Marker("i", "$b"), total(first), Event("i", R"("m":"Left","v":{"Seq":6})"),
                        total(second), Marker("i", "$e")},
                       {report});
  };
  EXPECT_TRUE(compare("2.0", "1.0").Balances());
  EXPECT_EQ(compare("1.0", "2.0").altered, 2U);
}

TEST(ComparisonTest, KeepsTheRunsOfAHostApart) {
  const char* const later = R"({"run": 3, "total": 3,
    "settings": [{"call": "AddSessionEnvInfo", "key": "Licence", "value": "Bought"}],
    "notes": [{"seq": 10001, "thread": "user", "session": 10001, "kind": "begin"},
              {"seq": 10002, "thread": "user", "session": 10001, "kind": "event", "name": "Opened"},
              {"seq": 10003, "thread": "user", "session": 10001, "kind": "end"}]})";
  const auto compare = [&](const std::string& opened) {
    // The later run's events arrive among those of the first, whose thread has the same name.
    Texts arrived = Good();
    arrived.insert(arrived.begin(), {Marker("n", "$b"), opened});
    arrived.push_back(Marker("n", "$e"));
    return CompareWith(arrived, {kReport, later});
  };
  const Comparison good =
      compare(Event("n", R"("m":"Opened","v":{"Seq":10002},"se":{"Licence":"Bought"})"));
  EXPECT_TRUE(good.Balances()) << testing::PrintToString(good.findings);
  EXPECT_EQ(good.byRun.at(1).arrived, 13U);
  EXPECT_EQ(good.byRun.at(3).arrived, 3U);
  const Comparison mixedUp = compare(Named("n", "Opened", R"({"Seq":10002})"));
  EXPECT_EQ(mixedUp.altered, 1U) << "the session environment is the first run's";
}

// A process that died: the sessions have no end, the last counts are lost, and the record that was
// being sent arrives again.
TEST(ComparisonTest, AllowsAKilledRunToDeliverOneRecordTwice) {
  const char* const killed = R"({"run": 1, "total": 6, "killed": true, "notes": [
      {"seq": 1, "thread": "user", "session": 1, "kind": "begin"},
      {"seq": 2, "thread": "user", "session": 1, "kind": "event", "name": "Opened"},
      {"seq": 3, "thread": "user", "session": 1, "kind": "place", "name": "Page"},
      {"seq": 4, "thread": "user", "session": 1, "kind": "event", "name": "Saved"},
      {"seq": 5, "thread": "user", "session": 1, "kind": "count", "name": "Menu", "detail": "Cut"},
      {"seq": 6, "thread": "user", "session": 1, "kind": "event", "name": "Closed"}]})";
  const auto in = [](int record, std::string event) {
    return event.replace(event.find(":1,"), 3, ':' + std::to_string(record) + ',');
  };
  const std::string begin = Marker("i", "$b");
  const std::string opened = Event("i", R"("m":"Opened","v":{"Seq":2})");
  const std::string page = Marker("i", "Page");
  const std::string saved = Event("i", R"("m":"Saved","v":{"Seq":4})");
  const std::string closed = Event("i", R"("m":"Closed","v":{"Seq":6})");
  const Texts once = {in(1, begin), in(1, opened), in(2, page), in(2, saved), in(3, closed)};
  const struct {
    Texts again;
    std::size_t inFlight;
    std::size_t doubled;
  } cases[] = {
      {{}, 0, 0},
      {{in(3, page), in(3, saved)}, 2, 0},
      {{in(3, saved), in(4, saved)}, 1, 1},
      {{in(3, opened), in(3, page)}, 1, 1},
  };
  for (const auto& [again, inFlight, doubled] : cases) {
    Texts arrived = once;
    arrived.insert(arrived.end(), again.begin(), again.end());
    const Comparison found = CompareWith(arrived, {killed});
    EXPECT_EQ(found.reported, 5U);
    EXPECT_EQ(found.inFlight, inFlight) << again.size();
    EXPECT_EQ(found.doubled, doubled) << again.size();
    EXPECT_EQ(found.Balances(), doubled == 0) << testing::PrintToString(found.findings);
  }
  Texts arrived = once;
  arrived.pop_back();
  EXPECT_EQ(CompareWith(arrived, {killed}).lost, 1U);
}

TEST(ComparisonTest, AllowsErrorsOfAKilledRunToLackOlderBreadcrumbs) {
  std::string killed = kReport;
  killed.insert(1, R"("killed":true,)");
  const auto compare = [&](const std::string& places, const std::string& commands) {
    std::string error = kError;
    error.replace(error.find(R"("std-Place")"), std::string::npos, places + commands + "}");
    Texts arrived = Good();
    arrived[kFailed] = Named("d", "std-Error", error);
    return CompareWith(arrived, {killed});
  };
  const std::string commands = R"("std-Cmd":["Save"])";
  const Comparison shorter = compare(R"("std-Place":["Page"],)", commands);
  EXPECT_TRUE(shorter.Balances()) << testing::PrintToString(shorter.findings);
  EXPECT_EQ(shorter.unknownBreadcrumbs, 1U);
  EXPECT_EQ(compare("", commands).unknownBreadcrumbs, 2U);
  EXPECT_TRUE(compare("", commands).Balances());
  EXPECT_EQ(compare(R"("std-Place":["Other"],)", commands).altered, 1U);
  EXPECT_EQ(compare(R"("std-Place":["Page","Page","Page"],)", commands).altered, 1U);
}

TEST(ComparisonTest, RejectsInconsistentReports) {
  const std::string begin = R"({"seq":1,"session":1,"kind":"begin"})";
  const std::string both = begin + R"(,{"seq":9,"session":1,"kind":"end"})";
  for (const std::string& text : {
           std::string(R"({"total":0})"),
           R"({"total":3,"notes":[)" + both + "]}",
           R"({"total":1,"notes":[)" + begin + "]}",
           R"({"total":3,"notes":[)" + both + ',' + begin + "]}",
           R"({"total":3,"notes":[)" + both + R"(,{"session":1,"kind":"idle"}]})",
           R"({"total":3,"notes":[)" + both + R"(,{"seq":2,"session":2,"kind":"idle"}]})",
           R"({"total":3,"notes":[)" + both + R"(,{"seq":2,"session":1,"kind":"jump"}]})",
       }) {
    std::string error;
    EXPECT_FALSE(Compare(Documents({text}).All(), Documents({"[]"}).All().front(), error)) << text;
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
  return CheckHeaders(Documents({kReport}).All(), Documents({text}).All().front());
}

TEST(RecordHeadersTest, AreComparedWithTheSettingsOfTheHost) {
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

TEST(LedgerTest, BalancesOnlyWithEventsAndGoodRecords) {
  const Comparison good = CompareWith(Good());
  EXPECT_TRUE(Balances(good, {}, {}));
  EXPECT_FALSE(Balances(good, CheckRecord("1.3", "1.4"), {}));
  EXPECT_FALSE(Balances(good, {}, {.badRecords = 1}));
  EXPECT_FALSE(Balances(good, {}, {.doubledRecords = 1}));
  Comparison inFlight = good;
  inFlight.inFlight = 2;
  EXPECT_TRUE(Balances(inFlight, {}, {.doubledRecords = 1}));
  EXPECT_FALSE(Balances(inFlight, {}, {.doubledRecords = 2}));
  EXPECT_FALSE(Balances(Comparison{}, {}, {}));
}

TEST(RecordExcerptTest, CountsTheEventsThatItOmits) {
  const std::string excerpt =
      RecordExcerpt(R"({"rt":[{"m":"E0"},{"m":"E1"},{"m":"E2"},{"m":"E3"},{"m":"E4"}],"can":"C"})");
  EXPECT_NE(excerpt.find("\"E2\""), std::string::npos);
  EXPECT_EQ(excerpt.find("\"E3\""), std::string::npos);
  EXPECT_NE(excerpt.find("and 2 more"), std::string::npos);
  EXPECT_NE(excerpt.find("\"can\": \"C\""), std::string::npos);
  EXPECT_EQ(RecordExcerpt(R"({"rt":[{"m":"E0"}]})").find("more"), std::string::npos);
}

}  // namespace
}  // namespace Demo
