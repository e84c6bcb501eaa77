#include "cache/cache_counters.h"

#include <atomic>

namespace Tav {

namespace {

constinit std::atomic<uint32_t> errors{0};
constinit std::atomic<uint32_t> agedFiles{0};

}  // namespace

void CountCacheError() {
  errors.fetch_add(1, std::memory_order_relaxed);
}

uint32_t CacheErrorCount() {
  return errors.load(std::memory_order_relaxed);
}

void CountAgedCacheFile() {
  agedFiles.fetch_add(1, std::memory_order_relaxed);
}

uint32_t AgedCacheFileCount() {
  return agedFiles.load(std::memory_order_relaxed);
}

}  // namespace Tav
