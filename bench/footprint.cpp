#include "bench/footprint.h"

// Version 2 has GetProcessMemoryInfo in kernel32.
#define PSAPI_VERSION 2
#include <windows.h>

#include <psapi.h>

#include <stdexcept>

namespace Bench {

namespace {

constexpr DWORD kIdleMilliseconds = 500;

}  // namespace

Footprint MeasureFootprint() {
  PROCESS_MEMORY_COUNTERS counters = {};
  counters.cb = sizeof counters;
  if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) {
    throw std::runtime_error("cannot measure the process's memory");
  }
  return {static_cast<double>(counters.WorkingSetSize),
          static_cast<double>(counters.PeakWorkingSetSize)};
}

Footprint MeasureIdleFootprint() {
  Sleep(kIdleMilliseconds);
  return MeasureFootprint();
}

}  // namespace Bench
