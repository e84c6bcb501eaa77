// The limits and intervals that govern a run.
#pragma once

#include <string>

#include "session/intake.h"
#include "session/send_schedule.h"

namespace Tav {

class ConfigManager;
struct LibraryConfig;

// Sizes in bytes, times in seconds.
struct Limits {
  int maxRecordSize = 0;  // of a record's estimated text
  int maxMemorySize = 0;  // of built records in memory; more go to the cache
  int maxCacheFiles = 0;
  int maxCacheBytes = 0;  // of one cache file
  int terminateTime = 0;
  RateLimits rate;
  SendSchedule::Tuning schedule;
};

// For each limit: the host's value if it is set, else the server's within its range, else the
// built-in default.
Limits ResolveLimits(const LibraryConfig& config, const ConfigManager& settings);

// Logs the values of the run.
void LogBanner(const LibraryConfig& config, const Limits& limits, const std::string& gatewayUrl);

}  // namespace Tav
