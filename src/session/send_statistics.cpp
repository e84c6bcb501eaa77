#include "session/send_statistics.h"

#include <algorithm>
#include <mutex>

#include "platform/thread.h"

namespace Tav {

namespace {

constinit Platform::StaticLock lock;
constinit SendStatistics statistics;

}  // namespace

void CountSend(int recordSize, int64_t milliseconds) {
  const std::lock_guard guard(lock);
  const bool first = statistics.records == 0;
  ++statistics.records;
  statistics.bytes += recordSize;
  statistics.smallestRecord = first ? recordSize : std::min(statistics.smallestRecord, recordSize);
  statistics.largestRecord = std::max(statistics.largestRecord, recordSize);
  statistics.shortestSend = first ? milliseconds : std::min(statistics.shortestSend, milliseconds);
  statistics.longestSend = std::max(statistics.longestSend, milliseconds);
  statistics.totalSend += milliseconds;
}

SendStatistics ReadSendStatistics() {
  const std::lock_guard guard(lock);
  return statistics;
}

}  // namespace Tav
