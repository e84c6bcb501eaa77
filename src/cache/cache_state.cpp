#include "cache/cache_state.h"

#include <atomic>

#include "util/logger.h"

namespace Tav {

namespace {

constinit std::atomic<uint32_t> errorCount{0};

}  // namespace

void CountCacheErrors(uint32_t count) {
  errorCount.fetch_add(count, std::memory_order_relaxed);
}

uint32_t CacheErrorCount() {
  return errorCount.load(std::memory_order_relaxed);
}

void PassOverCacheFile(CacheDirectory& directory, int sequence, const char* cannot) {
  LogWarning("*CM: Cannot %s cache file '%s'. It is passed over", cannot,
             directory.PathOf(sequence).c_str());
  CountCacheErrors();
  directory.PassOver(sequence);
}

}  // namespace Tav
