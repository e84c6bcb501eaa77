// The figures of a scenario in a few numbers, and their tables.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fleet/figures.h"
#include "fleet/scenario.h"

namespace Fleet {

struct Peak {
  double value = 0;
  int64_t time = 0;  // when it begins
};

struct Summary {
  std::string name;
  int64_t clients = 0;
  int64_t requests = 0;  // accepted
  double meanRate = 0;   // requests a second, over the minutes that have any
  Peak second;           // requests, the refused ones too
  Peak minute;           // the same a second, mean over a minute
  int64_t tooMany = 0;
  int64_t gone = 0;
  Peak goneSecond;  // attempts in vain
  int64_t bytes = 0;
  Peak byteRate;     // bytes a second, mean over a minute
  int64_t made = 0;  // events
  int64_t delivered = 0;
  int64_t waitingEvents = 0;  // at the end, in records or in none
  int64_t droppedEvents = 0;
  Peak behind;  // clients
  Peak backlogRecords;
  Peak backlogBytes;
  int64_t largest = 0;   // bytes on one client
  int64_t dropping = 0;  // clients that reached the bounds of the cache
  // Seconds from the return of the gateways until half, 99 % and all of the clients that were
  // behind then have nothing left; kNever if that takes longer than the simulation.
  int64_t half = kNever;
  int64_t most = kNever;
  int64_t all = kNever;
  Peak afterReturn;  // requests, the refused ones too, in a second of the hour after it
};

Summary Summarise(const Scenario& scenario, const Figures& figures);

// "1,234,567". Not for negative numbers.
std::string WithSeparators(int64_t number);
// "2d 10:05:00", the day counted from 1, or "10:05:00" on the first.
std::string ClockText(int64_t time);

// A column for each scenario.
std::string TextTable(const std::vector<Summary>& summaries);
// A line for each scenario. Times are in seconds since the first midnight, empty for never.
std::string CsvTable(const std::vector<Summary>& summaries);

}  // namespace Fleet
