#include "session/limits.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "config/config_manager.h"
#include "model/library_config.h"
#include "support/captured_log.h"

namespace Tav {
namespace {

// The limits of a run whose server has sent `answer`.
Limits LimitsOf(const LibraryConfig& config, const char* answer) {
  return ResolveLimits(config, ConfigManager({}, *ParseSettings(answer)));
}

TEST(LimitsTest, AHostsSizeBelowOneCountsAsNotSet) {
  constexpr char kAnswer[] = R"({"max_record_size": 100000, "max_memory_size": 200000,
                                 "max_cache_size": 7, "send_threshold": 5000})";
  for (const int size : {0, -1, -2}) {
    LibraryConfig config;
    config.maxRecordSize = size;
    config.maxMemorySize = size;
    config.maxCacheBytes = size;
    const Limits limits = LimitsOf(config, kAnswer);
    EXPECT_EQ(limits.maxRecordSize, 100000) << size;
    EXPECT_EQ(limits.maxMemorySize, 200000) << size;
    EXPECT_EQ(limits.maxCacheBytes, 1048576) << size;
    EXPECT_EQ(limits.maxCacheFiles, 7);
    EXPECT_EQ(limits.schedule.sendThreshold, 5000);
  }
}

TEST(LimitsTest, OnlyTheServersValuesAreBounded) {
  Testing::CapturedLog log;
  LibraryConfig config;
  config.cacheSize = -2048;  // what SetCacheSize makes of 2048
  config.maxRecordSize = 100;
  config.flushInterval = 100000;
  const Limits limits =
      LimitsOf(config, R"({"max_cache_size": 5000, "max_record_size": 1, "flush_time": -1,
                           "pause_time": 100000, "resend_time": -5, "terminate_time": 30,
                           "max_event_per_hour": "many"})");
  EXPECT_EQ(limits.maxCacheFiles, -2048);
  EXPECT_EQ(limits.maxRecordSize, 100);
  EXPECT_EQ(limits.schedule.flushInterval, 100000);
  EXPECT_EQ(limits.schedule.pauseInterval, 86400);
  EXPECT_EQ(limits.schedule.resendTime, 0);
  EXPECT_EQ(limits.schedule.resendDelta, 900);
  EXPECT_EQ(limits.terminateTime, 30);
  EXPECT_EQ(limits.rate.perHour, 0);
  std::vector<std::string> warnings = log.Take();
  std::erase_if(warnings, [](const std::string& line) { return !line.starts_with("warning"); });
  EXPECT_EQ(warnings, (std::vector<std::string>{
                          "warning: XM: pause_time is out of range: 100000. Using 86400",
                          "warning: XM: resend_time is out of range: -5. Using 0",
                      }));
}

}  // namespace
}  // namespace Tav
