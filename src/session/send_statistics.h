// What sending has amounted to since the process started.
#pragma once

#include <cstdint>

namespace Tav {

// Process-wide. Times in milliseconds, sizes in bytes; the minima are 0 until something was sent.
struct SendStatistics {
  int64_t records = 0;
  int64_t bytes = 0;
  int smallestRecord = 0;
  int largestRecord = 0;
  int64_t shortestSend = 0;
  int64_t longestSend = 0;
  int64_t totalSend = 0;
};

// Adds one attempt to send a record. Session thread only.
void CountSend(int recordSize, int64_t milliseconds);
SendStatistics ReadSendStatistics();

}  // namespace Tav
