#include "gateway/fault_plan.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Gateway {
namespace {

// Parses faults; empty, with the reason in `error`, if that fails.
std::vector<Fault> Parse(const std::string& text, std::string& error) {
  const JsonPtr value = ParseJson(text, error);
  return value ? ParseFaults(value.get(), error).value_or(std::vector<Fault>())
               : std::vector<Fault>();
}

TEST(FaultPlanTest, ReturnsFaultsInOrderAndByCount) {
  std::string error;
  const std::vector<Fault> faults =
      Parse(R"([{"kind":"status","status":503,"count":2},{"kind":"hang","store":true},)"
            R"({"kind":"delay","milliseconds":20,"count":1}])",
            error);
  FaultPlan plan;
  plan.Append(faults);
  EXPECT_EQ(plan.Take()->status, 503);
  EXPECT_EQ(plan.Describe(),
            R"([{"kind":"status","status":503,"count":1},{"kind":"hang","store":true,"count":1},)"
            R"({"kind":"delay","milliseconds":20,"count":1}])");
  EXPECT_EQ(plan.Take()->kind, FaultKind::Status);
  EXPECT_TRUE(plan.Take()->store);
  EXPECT_EQ(plan.Take()->delay, std::chrono::milliseconds(20));
  EXPECT_FALSE(plan.Take());
  plan.Append(faults);
  plan.Clear();
  EXPECT_FALSE(plan.Take());
}

TEST(FaultPlanTest, RejectsInvalidFaults) {
  constexpr std::pair<const char*, const char*> kCases[] = {
      {R"({"kind":"drop","count":3})", ""},
      {"[7]", "a fault must be an object"},
      {R"({"kind":"crash"})", R"("kind" must be "status", "delay", "hang" or "drop")"},
      {R"([{"kind":"drop"},{"kind":"drop","count":0}])",
       R"("count" must be a whole number from 1 on)"},
      {R"({"kind":"status","status":100})", R"("status" must be a whole number from 200 to 599)"},
      {R"({"kind":"drop","status":500})", R"("status" is not known for the kind "drop")"},
      {R"({"kind":"delay"})", R"("milliseconds" is missing)"},
      {R"({"kind":"delay","milliseconds":1.5})",
       R"("milliseconds" must be a whole number from 0 to 600000)"},
      {R"({"kind":"hang","store":1})", R"("store" must be true or false)"},
  };
  for (const auto& [text, reason] : kCases) {
    std::string error;
    EXPECT_EQ(Parse(text, error).empty(), *reason != '\0') << text;
    EXPECT_EQ(error, reason) << text;
  }
}

}  // namespace
}  // namespace Gateway
