// The names of cache files: a prefix that belongs to one product, and a sequence number in four
// digits. A file whose name differs from that in any way is somebody else's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Tav {

// Numbers run from 1 to this one.
inline constexpr int kLastCacheSequence = 9999;

// What tells the products of one folder apart; stable for the same bytes.
uint32_t CacheNameHash(std::string_view identity);

// The prefix for a product, given by two texts that identify it. Depends on the modes and the
// override below as they are at this moment.
std::string CachePrefix(std::string_view product, std::string_view version);

std::string CacheFileName(std::string_view prefix, int sequence);

// The number in the name of a file; 0 when the name is not one of this prefix.
int CacheSequence(std::string_view prefix, std::string_view name);

// Words of the process, not of one initialisation. Development and internal mode keep the records
// of trial runs apart; development wins. Any thread may set them; a cache manager takes them as
// they are when it is made.
void SetCacheDevelopmentMode(bool enabled);
void SetCacheInternalMode(bool enabled);

// A prefix for every cache manager made from now on; an empty text ends that. Any thread.
void SetCachePrefixOverride(std::string_view prefix);

}  // namespace Tav
