// The state that storing and loading share in one cache, and its error counters.
#pragma once

#include <cstdint>

#include "cache/cache_directories.h"

namespace Tav {

struct CacheState {
  static constexpr uint32_t kDefaultMaxFiles = 50;
  static constexpr uint32_t kDefaultMaxFileSize = 1048576;

  // Seconds since 1970.
  using Clock = int64_t (*)();

  void Refresh() { directories.Refresh(clock()); }

  CacheDirectories directories;
  const Clock clock;
  uint32_t maxFiles = kDefaultMaxFiles;
  uint32_t maxFileSize = kDefaultMaxFileSize;
  bool disabled = false;
};

// Each has been logged. Any thread.
void CountCacheErrors(uint32_t count = 1);
// Since the process started. Any thread.
uint32_t CacheErrorCount();

// Logs that the file cannot be loaded or deleted, and passes over it. The reason is in errno.
void PassOverCacheFile(CacheDirectory& directory, int sequence, const char* cannot);

}  // namespace Tav
