#include "gateway/fault_plan.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace Gateway {
namespace {

std::string ReasonAgainst(const std::string& text) {
  std::string error;
  const JsonPtr value = ParseJson(text, error);
  return value && ParseFaults(value.get(), error) ? "" : error;
}

TEST(FaultPlan, GivesOutFaultsInOrderAndAsOftenAsAsked) {
  std::string error;
  const JsonPtr value =
      ParseJson(R"([{"kind":"status","status":503,"count":2},{"kind":"hang","store":true},)"
                R"({"kind":"delay","milliseconds":20,"count":1}])",
                error);
  const auto faults = ParseFaults(value.get(), error);
  ASSERT_TRUE(faults) << error;

  FaultPlan plan;
  plan.Append(*faults);
  EXPECT_EQ(plan.Take()->status, 503);
  EXPECT_EQ(plan.Describe(),
            R"([{"kind":"status","status":503,"count":1},{"kind":"hang","store":true,"count":1},)"
            R"({"kind":"delay","milliseconds":20,"count":1}])");
  EXPECT_EQ(plan.Take()->kind, FaultKind::Status);
  EXPECT_TRUE(plan.Take()->store);
  EXPECT_EQ(plan.Take()->delay, std::chrono::milliseconds(20));
  EXPECT_FALSE(plan.Take());
  plan.Append(*faults);
  plan.Clear();
  EXPECT_FALSE(plan.Take());
}

TEST(FaultPlan, RefusesFaultsThatMeanNothing) {
  EXPECT_EQ(ReasonAgainst(R"({"kind":"drop","count":3})"), "");
  EXPECT_EQ(ReasonAgainst("[7]"), "a fault must be an object");
  EXPECT_EQ(ReasonAgainst(R"({"kind":"crash"})"),
            R"("kind" must be "status", "delay", "hang" or "drop")");
  EXPECT_EQ(ReasonAgainst(R"([{"kind":"drop"},{"kind":"drop","count":0}])"),
            R"("count" must be a whole number from 1 on)");
  EXPECT_EQ(ReasonAgainst(R"({"kind":"status","status":100})"),
            R"("status" must be a whole number from 200 to 599)");
  EXPECT_EQ(ReasonAgainst(R"({"kind":"drop","status":500})"),
            R"("status" is not known for the kind "drop")");
  EXPECT_EQ(ReasonAgainst(R"({"kind":"delay"})"), R"("milliseconds" is missing)");
  EXPECT_EQ(ReasonAgainst(R"({"kind":"delay","milliseconds":1.5})"),
            R"("milliseconds" must be a whole number from 0 to 600000)");
  EXPECT_EQ(ReasonAgainst(R"({"kind":"hang","store":1})"), R"("store" must be true or false)");
}

TEST(DelayRoom, WaitsUnlessCalledOffOrClosed) {
  DelayRoom room;
  EXPECT_TRUE(room.Wait(std::chrono::milliseconds(1)));
  room.CallOff();
  EXPECT_TRUE(room.Wait(std::chrono::milliseconds(1)));

  bool isOver = true;
  std::thread waiting([&] { isOver = room.Wait(std::chrono::minutes(10)); });
  room.Close();
  waiting.join();
  EXPECT_FALSE(isOver);
  EXPECT_FALSE(room.Wait(std::chrono::minutes(10)));
}

}  // namespace
}  // namespace Gateway
