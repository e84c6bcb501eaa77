#include "fleet/scenario.h"

#include "config/config_manager.h"
#include "model/library_config.h"

namespace Fleet {

namespace {

constexpr int64_t kHour = 3600;

Scenario Named(const char* name, const char* title, int64_t begin, int64_t end) {
  Scenario scenario;
  scenario.name = name;
  scenario.title = title;
  scenario.begin = begin;
  scenario.end = end;
  scenario.limits = LibraryLimits();
  return scenario;
}

std::vector<Scenario> MakeScenarios() {
  std::vector<Scenario> all;
  all.push_back(Named("day", "a working day that begins between 7 and 11", 6 * kHour, 22 * kHour));
  all.back().workday.waveBegin = 7 * kHour;
  all.back().workday.waveLength = 4 * kHour;
  all.back().workday.even = true;

  all.push_back(Named("wave", "all start between 8 and 9", 8 * kHour - 600, 10 * kHour));

  all.push_back(Named("hour", "gateways gone from 10 to 11", 7 * kHour, 20 * kHour));
  all.back().gateways.outages = {{10 * kHour, 11 * kHour}};

  all.push_back(
      Named("gone-day", "gateways gone from 10 to 10 on the next day", 7 * kHour, 44 * kHour));
  all.back().gateways.outages = {{10 * kHour, 34 * kHour}};

  all.push_back(Named("wrong", "a send interval of 5 seconds, meant to be minutes", 8 * kHour - 600,
                      10 * kHour));
  all.back().limits.schedule.sendInterval = 5;
  return all;
}

}  // namespace

Tav::Limits LibraryLimits() {
  return Tav::ResolveLimits(Tav::LibraryConfig{}, Tav::ConfigManager({}));
}

const std::vector<Scenario>& Scenarios() {
  static const std::vector<Scenario> scenarios = MakeScenarios();
  return scenarios;
}

}  // namespace Fleet
