#include "session/json_data.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/captured_log.h"
#include "support/records.h"

namespace Tav {
namespace {

using Testing::CapturedLog;

TEST(JsonDataTest, EstimatesAreTheCharactersOfThePair) {
  JsonData data;
  EXPECT_EQ(data.AddString("name", "value"), 4u + 5 + 6);
  EXPECT_EQ(data.AddInteger("n", 999), 1u + 6);
  EXPECT_EQ(data.AddInteger("n", 1000), 1u + 11);
  EXPECT_EQ(data.AddReal("r", 999.5), 1u + 7);
  EXPECT_EQ(data.AddReal("r", 1000.0), 1u + 14);
  EXPECT_EQ(data.OpenObject("obj"), 3u + 5 + 2);
  data.MoveUp();
  EXPECT_EQ(data.OpenArray("list"), 4u + 5 + 2);
  EXPECT_EQ(data.AddValue({}, MakeJsonString("item")), 2u + 4 + 2);
  EXPECT_EQ(data.AddValue({}, JsonPtr(json_true())), 2u + 4);
  EXPECT_EQ(data.AddValue({}, JsonPtr(json_false())), 2u + 5);
  EXPECT_EQ(data.AddValue({}, JsonPtr(json_real(1))), 2u + 10);
  data.MoveUp();
}

TEST(JsonDataTest, KeepsTheOrderOfAdding) {
  JsonData data;
  data.AddString("z", "\xC3\xA4\"\n");
  data.OpenObject("o");
  data.AddReal("x", 0.5);
  data.MoveUp();
  data.AddInteger("a", -5);
  EXPECT_EQ(Testing::Text(data.Root()), "{\"z\":\"\xC3\xA4\\\"\\n\",\"o\":{\"x\":0.5},\"a\":-5}");
}

TEST(JsonDataTest, MisuseIsReportedAndTheRestIsKept) {
  CapturedLog log;
  {
    JsonData data;
    data.MoveUp();
    EXPECT_NE(log.Find("error: Cannot move up json object"), "");
    EXPECT_EQ(data.AddString("", "nameless"), 0u);
    EXPECT_NE(log.Find("error: Object must have a name to put in a map"), "");
    EXPECT_NE(log.Find("warning: Failed to add object to json map"), "");
    EXPECT_EQ(data.AddReal("nan", std::nan("")), 0u);
    EXPECT_NE(log.Find("warning: No json object to add"), "");
    EXPECT_TRUE(data.Complete());  // a record with such values is still built
    data.OpenArray("list");
    EXPECT_GT(data.AddValue("named", JsonPtr(json_integer(1))), 0u);
    EXPECT_NE(log.Find("error: Cannot add named objects to json array"), "");
    EXPECT_EQ(Testing::Text(data.Root()), "{\"list\":[1]}");
    EXPECT_EQ(log.Find("error: Forgot to call MoveUp"), "");
  }
  EXPECT_NE(log.Find("error: Forgot to call MoveUp after adding an array or map"), "");
}

TEST(JsonDataTest, AFifthNestedContainerIsAddedButNotEntered) {
  CapturedLog log;
  JsonData data;
  for (const char* name : {"1", "2", "3", "4"}) {
    data.OpenObject(name);
  }
  EXPECT_EQ(log.Find("error: Json stack overflow"), "");
  data.OpenObject("5");
  EXPECT_EQ(log.Find("error: Json stack overflow"), "error: Json stack overflow");
  data.AddInteger("here", 4);
  for (int i = 0; i < 4; ++i) {
    data.MoveUp();
  }
  EXPECT_EQ(Testing::Text(data.Root()), R"({"1":{"2":{"3":{"4":{"5":{},"here":4}}}}})");
}

}  // namespace
}  // namespace Tav
