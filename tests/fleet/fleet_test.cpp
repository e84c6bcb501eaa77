#include "fleet/fleet.h"

#include <gtest/gtest.h>

#include <vector>

#include "fleet/summary.h"
#include "util/logger.h"

namespace Fleet {
namespace {

constexpr int64_t kHours = 3600;

class FleetTest : public testing::Test {
 protected:
  FleetTest() { Tav::ConfigureLogger(nullptr, nullptr, false); }

  static Scenario Small(uint32_t clients) {
    Scenario scenario;
    scenario.clients = clients;
    scenario.limits = LibraryLimits();
    scenario.end = 2 * kDay;
    scenario.gateways.outages = {{10 * kHours, 11 * kHours}, {16 * kHours, kDay + 9 * kHours}};
    return scenario;
  }
};

TEST_F(FleetTest, EveryEventIsDeliveredOrOnAClientOrDropped) {
  for (const bool crowded : {false, true}) {
    Scenario scenario = Small(200);
    if (crowded) {
      scenario.gateways.capacity = 2;
      scenario.gateways.maxRetryAfter = 900;
      scenario.limits.maxCacheFiles = 2;
      scenario.limits.maxCacheBytes = 2000;
      scenario.end = kDay + 12 * kHours;
    }
    const Figures figures = Simulate(scenario);
    int64_t made = 0;
    for (uint32_t client = 0; client < scenario.clients; ++client) {
      for (int64_t day = 0; day < 2; ++day) {
        made += Activity(scenario.workday, scenario.seed, client, day)
                    .EventsUntil(scenario.end - 1, scenario.workday);
      }
    }
    // An event is known to the library from the next step of its client on.
    EXPECT_LE(figures.made, made);
    EXPECT_GE(figures.made, crowded ? made * 95 / 100 : made);
    EXPECT_EQ(figures.made, figures.delivered + figures.kept + figures.dropped.events);
    EXPECT_GE(figures.kept, figures.waiting.events);
    EXPECT_EQ(figures.dropped.records > 0, crowded);
    EXPECT_EQ(figures.kept > 0, crowded) << "all have stopped, and the gateways are there";
    const Summary summary = Summarise(scenario, figures);
    EXPECT_EQ(summary.tooMany > 0, crowded);
    EXPECT_LE(summary.behind.value, 200);
    EXPECT_EQ(figures.dropping > 0, crowded);
    if (crowded) {
      EXPECT_LE(figures.largest, 3 * 2000 + 20'000) << "the bound of the cache, and memory";
    } else {
      EXPECT_EQ(summary.behind.value, 200);
    }
  }
}

TEST_F(FleetTest, TheFiguresDoNotDependOnTheSizeOfAStep) {
  Scenario scenario = Small(60);
  // Records are also built and sent because of their size.
  scenario.limits.maxRecordSize = 10'000;
  scenario.limits.schedule.sendThreshold = 20'000;
  scenario.intervalSpread = 10;
  scenario.jitter = 20;
  const Figures reference = Simulate(scenario);
  for (const int64_t step : {1, 7, 60}) {
    scenario.step = step;
    const Figures figures = Simulate(scenario);
    EXPECT_GT(figures.turns, reference.turns);
    EXPECT_EQ(figures.made, reference.made);
    EXPECT_EQ(figures.delivered, reference.delivered);
    for (int64_t time = figures.Begin(); time < figures.End(); ++time) {
      const Second& second = figures.At(time);
      const Second& expected = reference.At(time);
      ASSERT_EQ(second.accepted, expected.accepted) << ClockText(time) << " step " << step;
      ASSERT_EQ(second.gone, expected.gone) << ClockText(time) << " step " << step;
      ASSERT_EQ(second.bytes, expected.bytes) << ClockText(time) << " step " << step;
    }
    for (size_t i = 0; i < figures.Samples().size(); ++i) {
      ASSERT_EQ(figures.Samples()[i].behind, reference.Samples()[i].behind) << i;
      ASSERT_EQ(figures.Samples()[i].bytes, reference.Samples()[i].bytes) << i;
    }
  }
}

TEST_F(FleetTest, TheTablesShowWhatWasCounted) {
  const Scenario scenario = Small(20);
  const Figures figures = Simulate(scenario);
  Summary summary = Summarise(scenario, figures);
  summary.name = "small";
  EXPECT_EQ(summary.requests, [&] {
    int64_t sum = 0;
    for (int64_t time = figures.Begin(); time < figures.End(); ++time) {
      sum += figures.At(time).accepted;
    }
    return sum;
  }());
  EXPECT_NE(summary.all, kNever);
  EXPECT_LE(summary.half, summary.most);
  EXPECT_LE(summary.most, summary.all);
  const std::string csv = CsvTable({summary, summary});
  EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 3);
  EXPECT_NE(csv.find("\nsmall,20," + std::to_string(summary.requests) + ","), std::string::npos);
  EXPECT_NE(TextTable({summary}).find(WithSeparators(summary.requests)), std::string::npos);
  EXPECT_EQ(WithSeparators(1234567), "1,234,567");
  EXPECT_EQ(WithSeparators(100), "100");
  EXPECT_EQ(ClockText(kDay + 3661), "2d 01:01:01");
}

}  // namespace
}  // namespace Fleet
