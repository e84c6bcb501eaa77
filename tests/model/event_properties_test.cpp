#include "model/event_properties.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "model/event_size.h"
#include "support/captured_log.h"
#include "support/records.h"

namespace Tav {
namespace {

using Testing::CapturedLog;

class EventPropertiesTest : public testing::Test {
 protected:
  void TearDown() override {
    EventSize::SetMaximum(EventSize::kDefaultMaximum);
    EventSize::SetSessionEnvironment(0);
    FreeHandle(event_);
  }
  TavEvent_s& Make(HandleKind kind = HandleKind::Event) {
    FreeHandle(event_);
    event_ = Testing::Event("edit", kind);
    return *event_;
  }

  TavEvent_s* event_ = nullptr;
};

TEST_F(EventPropertiesTest, PropertiesKeepTheirOrderAndCanBeReplaced) {
  TavEvent_s& event = Make();
  EXPECT_TRUE(event.properties.Empty());
  AddEventString(event, "b", "1");
  AddEventNumber(event, "a", 2);
  AddEventString(event, "b", "");
  EXPECT_EQ(Testing::Text(Testing::Properties(event).Get()), R"({"b":"","a":2.0})");
  const std::string longText(3000, 'x');
  for (int i = 0; i < 40; ++i) {
    AddEventString(event, "long" + std::to_string(i), i % 2 == 0 ? longText : "short");
  }
  EXPECT_EQ(json_object_size(Testing::Properties(event).Get()), 42u);
  EXPECT_EQ(Testing::TextAt(Testing::Properties(event).Get(), "long38"), longText);
}

TEST_F(EventPropertiesTest, TheEstimateStartsWithFixedMembersAndTheSessionEnvironment) {
  EventSize::SetSessionEnvironment(50);
  // "t" and "s" as pairs of their usual length, and the name's pair.
  constexpr uint32_t kExpected = (1 + 29 + 6) + (1 + 36 + 6) + (7 + 4);
  EXPECT_EQ(Make(HandleKind::Marker).estimatedSize, kExpected);
  for (const HandleKind kind : {HandleKind::Event, HandleKind::Command, HandleKind::Error}) {
    EXPECT_EQ(Make(kind).estimatedSize, kExpected + 50);
  }
  const uint32_t before = event_->estimatedSize;
  AddEventString(*event_, "key", "value");
  AddEventNumber(*event_, "n", 1000);
  EXPECT_EQ(event_->estimatedSize, before + (3 + 5 + 6) + (1 + 14));
}

TEST_F(EventPropertiesTest, AnEventThatWouldGrowTooLargeIsDiscarded) {
  CapturedLog log;
  TavEvent_s& event = Make();
  EventSize::SetMaximum(static_cast<int>(event.estimatedSize) + 20);
  AddEventNumber(event, "inf", HUGE_VAL);  // JSON cannot hold it
  EXPECT_EQ(log.Find("warning: No json"), "warning: No json object to add");
  AddEventString(event, "abcd", "0123456789");  // exactly what is left
  EXPECT_FALSE(event.discarded);
  AddEventString(event, "x", "");
  EXPECT_TRUE(event.discarded);
  const std::string size = std::to_string(event.estimatedSize);
  EXPECT_EQ(log.Find("warning: JD:"),
            "warning: JD: AddTavEvent: discarding 'edit'. Current size = " + size +
                ", size to add = 7, max size = " + size);
  EventSize::SetMaximum(EventSize::kDefaultMaximum);
  AddEventNumber(event, "ignored", 1);
  EXPECT_EQ(json_object_size(Testing::Properties(event).Get()), 1u);
}

TEST_F(EventPropertiesTest, TraceItemsAreCountedAndLeaveEmptyTextsOut) {
  TavEvent_s& event = Make(HandleKind::Error);
  AddEventTraceItem(event, "nowhere", "", "");
  EXPECT_EQ(event.traceItemCount, 0u);  // no properties, no items
  AddEventString(event, "std-ErrCode", "7");
  const uint32_t before = event.estimatedSize;
  AddEventTraceItem(event, "main.c:1", "app.dll", "");
  // The list under its name, the object in it, and its two pairs.
  EXPECT_EQ(event.estimatedSize - before, (9u + 5 + 2) + (2 + 2) + (7 + 8 + 6) + (7 + 7 + 6));
  AddEventTraceItem(event, "", "", "m");
  EXPECT_EQ(Testing::Text(json_object_get(Testing::Properties(event).Get(), "std-Trace")),
            R"([{"std-Loc":"main.c:1","std-Lib":"app.dll"},{"std-Meta":"m"}])");
  EXPECT_EQ(event.traceItemCount, 2u);
  EventSize::SetMaximum(static_cast<int>(event.estimatedSize) + 5);
  AddEventTraceItem(event, "too large", "", "");
  EXPECT_TRUE(event.discarded);
  EXPECT_EQ(event.traceItemCount, 2u);
}

}  // namespace
}  // namespace Tav
