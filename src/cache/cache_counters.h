// What has happened to the caches of this process, whichever manager it happened to. Any thread.
#pragma once

#include <cstdint>

namespace Tav {

void CountCacheError();
uint32_t CacheErrorCount();

// Files deleted because of their age.
void CountAgedCacheFile();
uint32_t AgedCacheFileCount();

}  // namespace Tav
