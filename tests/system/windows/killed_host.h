// What killed_host and the test that starts it share.
#pragma once

#include <tav/tav.h>
#include <windows.h>

#include <atomic>

namespace Tav::Testing {

inline constexpr int kBlastThreads = 4;
inline constexpr int kBlastEvents = 1000;  // of each thread
inline constexpr UINT kKilled = 9;         // exit code

// The test maps it before the host does, and keeps it longer.
struct BlastMemory {
  std::atomic<int> accepted[kBlastThreads];  // events whose LogEvent has returned
  std::atomic<int> isReady;                  // to be killed
};

}  // namespace Tav::Testing
