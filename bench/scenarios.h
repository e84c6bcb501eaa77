// What can be measured. Each runs in a fresh process, adds one round to the results and throws
// std::runtime_error when something failed or events were lost.
#pragma once

#include <string>

#include "bench/crew.h"
#include "bench/results.h"
#include "bench/timing.h"

namespace Bench {

struct Options {
  std::string scenario;
  std::string name;  // under which the round stands in the results
  std::string library = "tav.dll";
  std::string results = "results.json";
  std::string scratch = "scratch";
  std::string gateway = "null://";
  std::string remark;  // where and under what circumstances, for the report
  Load load;
};

// The times of whole events, and of their floor under the same load.
void MeasureLatency(const Timing& timing, const Options& options, Results& results);
// The times of an event's single calls.
void MeasureSteps(const Timing& timing, const Options& options, Results& results);
// What the library's code asks of the system on the host's thread.
void CountAllocations(const Timing& timing, const Options& options, Results& results);
// Events from the host to the gateway, all accounted for.
void MeasureThroughput(const Timing& timing, const Options& options, Results& results);
// Memory of the process at rest, at its peak and afterwards; the size of the DLL.
void MeasureMemory(const Timing& timing, const Options& options, Results& results);

}  // namespace Bench
