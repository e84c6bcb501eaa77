#include "demo/comparison.h"

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <string>

#include "demo/presentation.h"
#include "gateway/json_text.h"

namespace Demo {
namespace {

// Two threads, one session-environment value, a text beyond ASCII.
constexpr char kReport[] = R"({
  "sitting": 1, "total": 4,
  "session_environment": {"Licence": "Trial"},
  "events": [
    {"thread": "user", "name": "Opened", "properties": {"File": "四半期 \"a\\b\".md", "Seq": 1}},
    {"thread": "user", "name": "Edited", "properties": {"Seconds": 0.125, "Seq": 2}},
    {"thread": "user", "name": "Edited", "properties": {"Seconds": 3, "Seq": 3}},
    {"thread": "saver", "name": "Saved", "properties": {"Seq": 1001}}]})";

std::string Arrived(const std::string& name, const std::string& properties) {
  return R"({"record":1,"component":"","event":{"t":"","s":"","m":")" + name + R"(","v":)" +
         properties + R"(,"se":{"Licence":"Trial"}}})";
}

const std::string kMark = R"({"record":1,"component":"","event":{"t":"","s":"","g":"$b"}})";
const std::string kOpened = Arrived("Opened", R"({"File":"四半期 \"a\\b\".md","Seq":1.0})");
const std::string kEdited = Arrived("Edited", R"({"Seconds":0.125,"Seq":2.0})");
const std::string kEditedAgain = Arrived("Edited", R"({"Seconds":3.0,"Seq":3.0})");
const std::string kSaved = Arrived("Saved", R"({"Seq":1001.0})");

Comparison CompareWith(std::initializer_list<std::string> arrived) {
  std::string list;
  for (const std::string& entry : arrived) {
    list += (list.empty() ? "" : ",") + entry;
  }
  std::string error;
  const Gateway::JsonPtr report = Gateway::ParseJson(kReport, error);
  const Gateway::JsonPtr events = Gateway::ParseJson('[' + list + ']', error);
  const auto comparison = Compare(std::array<const json_t*, 1>{report.get()}, events.get(), error);
  EXPECT_TRUE(comparison) << error;
  return comparison.value_or(Comparison{});
}

TEST(Comparison, BalancesWhenThreadsMixButKeepTheirOrder) {
  const Comparison found = CompareWith({kMark, kOpened, kSaved, kEdited, kEditedAgain});
  EXPECT_TRUE(found.Balances());
  EXPECT_EQ(found.handedOver, 4U);
  EXPECT_EQ(found.arrived, 4U);
  EXPECT_EQ(found.marks, 1U);
  EXPECT_EQ(found.byName.at("Edited").handedOver, 2U);
  EXPECT_EQ(found.byName.at("Edited").arrived, 2U);
}

TEST(Comparison, CountsEachFaultAsWhatItIs) {
  const Comparison lost = CompareWith({kOpened, kEdited, kEditedAgain});
  EXPECT_EQ(lost.lost, 1U);
  EXPECT_FALSE(lost.Balances());

  const Comparison doubled = CompareWith({kOpened, kEdited, kEdited, kEditedAgain, kSaved});
  EXPECT_EQ(doubled.doubled, 1U);
  EXPECT_EQ(doubled.outOfOrder, 0U);
  EXPECT_FALSE(doubled.Balances());

  const Comparison swapped = CompareWith({kEdited, kOpened, kEditedAgain, kSaved});
  EXPECT_EQ(swapped.outOfOrder, 1U);
  EXPECT_FALSE(swapped.Balances());

  const Comparison unknown =
      CompareWith({kOpened, kEdited, kEditedAgain, kSaved, Arrived("Saved", R"({"Seq":7.0})")});
  EXPECT_EQ(unknown.unknown, 1U);
  EXPECT_EQ(unknown.lost, 0U);
  EXPECT_FALSE(unknown.Balances());
}

TEST(Comparison, NoticesEveryKindOfAlteration) {
  const std::string altered[] = {
      Arrived("Opened", R"({"File":"???","Seq":1.0})"),
      Arrived("Opened", R"({"Seq":1.0})"),
      Arrived("Opened", R"({"File":"四半期 \"a\\b\".md","More":1,"Seq":1.0})"),
      Arrived("Opened", R"({"File":4,"Seq":1.0})"),
      Arrived("Closed", R"({"File":"四半期 \"a\\b\".md","Seq":1.0})"),
      R"({"event":{"m":"Opened","v":{"File":"四半期 \"a\\b\".md","Seq":1.0}}})",
  };
  for (const std::string& event : altered) {
    const Comparison found = CompareWith({event, kEdited, kEditedAgain, kSaved});
    EXPECT_EQ(found.altered, 1U) << event;
    EXPECT_FALSE(found.Balances()) << event;
  }
}

TEST(Comparison, TellsTheRunsOfAHostApart) {
  const char* const later =
      R"({"sitting": 3, "total": 2, "session_environment": {"Licence": "Bought"}, "events": [
      {"thread": "user", "name": "Opened", "properties": {"Seq": 10001}},
      {"thread": "user", "name": "Edited", "properties": {"Seq": 10002}}]})";
  const auto event = [](const char* name, int serial) {
    return std::string(R"({"event":{"m":")") + name + R"(","v":{"Seq":)" + std::to_string(serial) +
           R"(},"se":{"Licence":"Bought"}}})";
  };
  const auto compare = [&](const std::string& last) {
    std::string error;
    const Gateway::JsonPtr first = Gateway::ParseJson(kReport, error);
    const Gateway::JsonPtr second = Gateway::ParseJson(later, error);
    // The second run's events arrive amid those of the first, whose thread has the same name.
    const Gateway::JsonPtr events =
        Gateway::ParseJson('[' + event("Opened", 10001) + ',' + kOpened + ',' + kEdited + ',' +
                               kEditedAgain + ',' + kSaved + ',' + last + ']',
                           error);
    const std::array<const json_t*, 2> reports = {first.get(), second.get()};
    return Compare(reports, events.get(), error).value_or(Comparison{});
  };
  const Comparison good = compare(event("Edited", 10002));
  EXPECT_TRUE(good.Balances());
  EXPECT_EQ(good.handedOver, 6U);
  ASSERT_EQ(good.bySitting.size(), 2U);
  EXPECT_EQ(good.bySitting.at(1).arrived, 4U);
  EXPECT_EQ(good.bySitting.at(3).arrived, 2U);

  const Comparison mixedUp = compare(Arrived("Edited", R"({"Seq":10002})"));
  EXPECT_EQ(mixedUp.altered, 1U) << "the session environment is the first run's";
  const Comparison missing = compare(kMark);
  EXPECT_EQ(missing.lost, 1U);
  EXPECT_EQ(missing.bySitting.at(3).arrived, 1U);
}

TEST(Comparison, RefusesAReportThatContradictsItself) {
  for (const char* text : {
           R"({"total":0})",
           R"({"total":2,"events":[{"name":"A","properties":{"Seq":1}}]})",
           R"({"total":1,"events":[{"name":"A","properties":{}}]})",
           R"({"total":2,"events":[{"name":"A","properties":{"Seq":1}},
                                   {"name":"B","properties":{"Seq":1}}]})",
       }) {
    std::string error;
    const Gateway::JsonPtr report = Gateway::ParseJson(text, error);
    const Gateway::JsonPtr events = Gateway::ParseJson("[]", error);
    EXPECT_FALSE(Compare(std::array<const json_t*, 1>{report.get()}, events.get(), error)) << text;
    EXPECT_NE(error, "");
  }
}

TEST(Verdict, NeedsEventsAndGoodRecords) {
  const Comparison good = CompareWith({kOpened, kEdited, kEditedAgain, kSaved});
  EXPECT_TRUE(Balances(good, {}));
  EXPECT_FALSE(Balances(good, {.badRecords = 1}));
  EXPECT_FALSE(Balances(good, {.doubledRecords = 1}));
  EXPECT_FALSE(Balances(Comparison{}, {}));
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
