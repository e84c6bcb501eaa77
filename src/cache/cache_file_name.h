// The names of cache files: a prefix that belongs to one product and deployment, and a sequence
// number in four digits. A file with any other name is not touched.
#pragma once

#include <string>
#include <string_view>

#include "model/deployment.h"

namespace Tav {

// Sequence numbers run from 1 to this one.
inline constexpr int kMaxCacheSequence = 9999;

// The prefix for a product, which is identified by these two texts.
std::string CachePrefix(std::string_view product,
                        std::string_view version,
                        const Deployment& deployment);

// The prefix of the product's journals, with the same hash and letter.
std::string JournalPrefix(std::string_view product,
                          std::string_view version,
                          const Deployment& deployment);

std::string CacheFileName(std::string_view prefix, int sequence);

// The sequence number in the name of a file; 0 when the name does not belong to this prefix.
int CacheSequence(std::string_view prefix, std::string_view name);

}  // namespace Tav
